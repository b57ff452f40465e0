#include "base/json_nesting.h"

#include <gtest/gtest.h>

#include <string>

namespace obx {
namespace {

// Depth counts arrays and objects only, outside strings, escaped quotes included.
TEST(JSONNestingTest, DepthOutsideStrings) {
  struct Case {
    std::string text;
    std::size_t maxDepth;
    bool within;
  };
  const std::vector<Case> cases = {
      {"[]", 1, true},
      {"[[]]", 1, false},
      {R"({"a":[{"b":1}]})", 3, true},
      {R"({"a":[{"b":1}]})", 2, false},
      {R"(["[[[[", "]"])", 1, true},
      {R"(["\"[[[[", 1])", 1, true},
      {R"(["\\", [[1]]])", 2, false},
      {"]]]][[", 2, true},
      {std::string(300000, '[') + std::string(300000, ']'), kMaxJSONNesting, false},
      {std::string(kMaxJSONNesting, '[') + std::string(kMaxJSONNesting, ']'), kMaxJSONNesting, true},
  };
  for (const auto& c : cases) EXPECT_EQ(jsonNestingWithin(c.text, c.maxDepth), c.within) << c.text.substr(0, 40);
}

}  // namespace
}  // namespace obx
