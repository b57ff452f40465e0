#include "upload/events_request.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace obx {
namespace {

EventsRequest sampleRequest() {
  EventsRequest request;
  request.property = "PROP1234";
  request.cScreenID = "c-1";
  request.sessionID = "SESSION1";
  request.leadID = "LEAD1";
  request.screenPassed = 1;
  request.fileName = "S_2.zip";
  request.data = {0x50, 0x4b, 0x03, 0x04, 0x00};
  return request;
}

Common collectionCommon() {
  Common common;
  common.endpoint = Endpoint::custom("https://collect.test", "https://portal.test/view/");
  return common;
}

// The URL is the upload format filled with the collection host and the request's fields, then
// "&dnt=1" only for ipHandling 1 and "&jspsf=" with 1 or 0 when the sampling flag is known; an
// override of the collection URL in the settings doesn't change the host.
TEST(EventsRequestTest, URLs) {
  const std::string base = "https://collect.test/asset/?type=zip&wid=PROP1234&sk=c-1&sid=SESSION1&lid=LEAD1"
                           "&passed=1&asset=S_2.zip";
  struct Case {
    std::optional<int> ipHandling;
    std::optional<bool> isInSampling;
    std::string url;
  };
  const std::vector<Case> cases = {
      {std::nullopt, std::nullopt, base},
      {1, std::nullopt, base + "&dnt=1"},
      {0, std::nullopt, base},
      {2, std::nullopt, base},
      {std::nullopt, true, base + "&jspsf=1"},
      {std::nullopt, false, base + "&jspsf=0"},
      {1, false, base + "&dnt=1&jspsf=0"},
  };
  Common common = collectionCommon();
  common.overrideCollectionURL = "https://elsewhere.test";
  for (const auto& c : cases) {
    EventsRequest request = sampleRequest();
    request.ipHandling = c.ipHandling;
    request.isInSampling = c.isInSampling;
    auto requests = makeEventsRequests(request, common);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].url.absoluteString(), c.url);
  }
}

// The one request is a POST of the ZIP bytes as an octet stream with a 60 second timeout.
TEST(EventsRequestTest, MethodBodyHeaderTimeout) {
  auto requests = makeEventsRequests(sampleRequest(), collectionCommon());
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].httpMethod, "POST");
  EXPECT_EQ(requests[0].httpBody, (platform::Data{0x50, 0x4b, 0x03, 0x04, 0x00}));
  EXPECT_EQ(requests[0].valueForHTTPHeaderField("Content-Type"), "application/octet-stream");
  EXPECT_EQ(requests[0].allHTTPHeaderFields.size(), 1u);
  EXPECT_EQ(requests[0].timeoutInterval, 60.0);
}

// A text that isn't an absolute URL gives no request at all.
TEST(EventsRequestTest, BadURLGivesNoRequest) {
  Common common = collectionCommon();
  common.endpoint = Endpoint::custom("collect.test", "");
  EXPECT_TRUE(makeEventsRequests(sampleRequest(), common).empty());

  EventsRequest spaced = sampleRequest();
  spaced.leadID = "LEAD 1";
  EXPECT_TRUE(makeEventsRequests(spaced, collectionCommon()).empty());

  common = collectionCommon();
  common.uploadURLString = "%@ /asset?wid=%@";
  EXPECT_TRUE(makeEventsRequests(sampleRequest(), common).empty());
}

}  // namespace
}  // namespace obx
