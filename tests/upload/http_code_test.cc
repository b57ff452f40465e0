#include "upload/http_code.h"

#include <gtest/gtest.h>

#include <set>

namespace obx {
namespace {

// The 64 numbers of the status table.
const std::set<int> kTable = {-1,  0,   100, 101, 102, 103, 200, 201, 202, 203, 204, 205, 206, 207, 208, 226,
                              300, 301, 302, 303, 304, 305, 306, 307, 308, 400, 401, 402, 403, 404, 405, 406,
                              407, 408, 409, 410, 411, 412, 413, 414, 415, 416, 417, 421, 422, 423, 424, 425,
                              426, 428, 429, 431, 451, 500, 501, 502, 503, 504, 505, 506, 507, 508, 510, 511};

// Across a wide range exactly the numbers of the table build a case, including none of the gaps
// between known codes, and each case gives its own number back.
TEST(HTTPCodeTest, ExactlyTheTableRoundTrips) {
  ASSERT_EQ(kTable.size(), 64u);
  for (int raw = -100; raw <= 1000; ++raw) {
    SCOPED_TRACE(raw);
    auto built = httpCodeFromRaw(raw);
    ASSERT_EQ(built.has_value(), kTable.contains(raw));
    if (built) {
      EXPECT_EQ(rawValue(*built), raw);
    }
  }
  EXPECT_EQ(rawValue(HTTPCode::successOk), 200);
  EXPECT_EQ(rawValue(HTTPCode::serverErrorGatewayTimeout), 504);
}

}  // namespace
}  // namespace obx
