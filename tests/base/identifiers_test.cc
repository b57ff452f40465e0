#include "base/identifiers.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>

namespace obx {
namespace {

// UUID texts are upper-case version 4 UUIDs; the two-digit form adds 10...99, 38 characters in all.
TEST(Identifiers, Forms) {
  const std::regex uuid("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$");
  const std::regex withDigits("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}[1-9][0-9]$");
  std::set<std::string> seen;
  std::set<int> digits;
  for (int i = 0; i < 2000; ++i) {
    std::string plain = makeUUIDString();
    EXPECT_TRUE(std::regex_match(plain, uuid)) << plain;
    std::string id = makeUUIDWithTwoDigits();
    ASSERT_EQ(id.size(), 38u);
    EXPECT_TRUE(std::regex_match(id, withDigits)) << id;
    digits.insert(std::stoi(id.substr(36)));
    seen.insert(plain);
  }
  EXPECT_EQ(seen.size(), 2000u);
  EXPECT_EQ(*digits.begin(), 10);
  EXPECT_EQ(*digits.rbegin(), 99);
}

}  // namespace
}  // namespace obx
