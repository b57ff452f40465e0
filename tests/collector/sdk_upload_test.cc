// The collector against the SDK's own upload code: a screen put through UploadParser and the request
// builder is accepted as the SDK sends it. This keeps the two sides of the format from drifting apart.
#include <gtest/gtest.h>
#include <httplib.h>
#include <unistd.h>

#include <filesystem>

#include "collector/collector.h"
#include "config/sdk_configuration.h"
#include "platform/dispatch/manual_scheduler.h"
#include "upload/events_request.h"
#include "upload/upload_parser.h"
#include "../store/store_test_support.h"

namespace obx::collector {
namespace {

namespace fs = std::filesystem;
using testing::readBytes;

// A screen spooled by the SDK, sent through its parser and request builder, arrives deciphered and
// checked: the "images" event names both frames, "batch", "bE" and "image" are gone, the "aE" stands
// last, and the stored frames are the spooled bytes.
TEST(SDKUploadTest, ScreenFromTheUploadParserIsAccepted) {
  std::shared_ptr<platform::ManualScheduler> scheduler = platform::ManualScheduler::make();
  const fs::path root = fs::temp_directory_path() / ("obx-sdk-upload-test-" + std::to_string(::getpid()));
  fs::remove_all(root);

  Collector::Options options;
  options.dataDirectory = root / "collector";
  options.accounts = {"someone-else", "acme-account"};
  options.log = [](const std::string&) {};
  Collector collector(options);
  ASSERT_TRUE(collector.start());

  Configuration configuration("acme-account", "property-9", Consent::analyticsAndRecording, false, true, false,
                              false, false);
  configuration.endpoint = Endpoint::custom(collector.baseURL(), collector.baseURL() + "/replay/");
  auto sdkConfiguration = std::make_shared<SDKConfiguration>(configuration, Platform::native(), scheduler);
  UploadParser parser(std::make_shared<UploaderConfiguration>(sdkConfiguration), root / "spool", scheduler);

  const std::string rawSessionID = "3F2504E0-4F89-11D3-9A0C-0305E82C330161";
  const std::string leadID = "9B2D1C3A4E5F60718293A4B5C6D7E8F911";
  const std::string jpeg0 = std::string("\xFF\xD8\xFF\xE0", 4) + std::string(64, 'x');
  const std::string jpeg1 = std::string("\xFF\xD8\xFF\xE0", 4) + std::string(64, 'y');
  ScreenToSend screen;
  screen.id = "A1B2C3_20240301101500";
  screen.batchesName = {screen.id};
  screen.events = {
      R"({"t":"session","o":0,"d":{"sessionID":")" + rawSessionID + R"(","leadID":")" + leadID + R"("}})",
      R"({"t":"batch","o":0,"d":{"cScreenID":"0cc175b9c0f1b6a831c399e269772661","startTime":1709287700.5}})",
      R"({"t":"screen","o":1,"d":{"sN":"Basket","sI":3,"sT":0,"o":"portrait"}})",
      R"({"t":"image","o":10,"d":{"index":0,"name":"i0","width":390,"height":844,"timestamp":1709287700510}})",
      R"({"t":"aE","o":200,"d":""})",
      R"({"t":"tB","o":300,"d":[{"x":5,"y":6}]})",
      R"({"t":"image","o":400,"d":{"index":1,"name":"i1","width":390,"height":844,"timestamp":1709287700900}})",
      R"({"t":"bE","o":1000,"d":""})",
  };
  screen.images = std::vector<Image>{{0, jpeg0, 1709287700510}, {1, jpeg1, 1709287700900}};

  auto upload = parser.parse(screen);
  ASSERT_TRUE(upload);
  EventsRequest request;
  request.property = "property-9";
  request.cScreenID = upload->cScreenID;
  request.sessionID = upload->sessionID;
  request.leadID = upload->leadID;
  request.fileName = upload->id + ".zip";
  request.data = upload->zip;
  auto requests = makeEventsRequests(request, sdkConfiguration->common());
  ASSERT_EQ(requests.size(), 1u);
  const std::string url = requests[0].url.absoluteString();
  ASSERT_TRUE(url.starts_with(collector.baseURL()));

  httplib::Client client(collector.baseURL());
  auto answer = client.Post(url.substr(collector.baseURL().size()).c_str(),
                            std::string(upload->zip.begin(), upload->zip.end()), "application/octet-stream");
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, 200);

  auto screens = collector.screens();
  ASSERT_EQ(screens.size(), 1u);
  EXPECT_EQ(screens[0].sessionID, "3F2504E04F8911D39A0C0305E82C330161");
  EXPECT_EQ(screens[0].account, "acme-account");
  std::vector<std::string> types;
  for (const auto& event : screens[0].body) types.push_back(event["t"].get<std::string>());
  EXPECT_EQ(types, (std::vector<std::string>{"session", "screen", "tB", "images", "aE"}));
  EXPECT_EQ(screens[0].body[3]["d"][0]["sName"], "i0.jpg");
  EXPECT_EQ(screens[0].body[3]["d"][0]["sDuration"], 390);
  EXPECT_EQ(screens[0].body[3]["d"][1]["sDuration"], 600);

  const fs::path folder = root / "collector" / screens[0].sessionID / "001_0cc175b9c0f1b6a831c399e269772661";
  EXPECT_EQ(readBytes(folder / "0.jpg"), jpeg0);
  EXPECT_EQ(readBytes(folder / "1.jpg"), jpeg1);
  EXPECT_NE(readBytes(root / "collector" / screens[0].sessionID / "index.html").find(
                "001_0cc175b9c0f1b6a831c399e269772661/1.jpg (i1.jpg), 600 ms"),
            std::string::npos);

  collector.stop();
  fs::remove_all(root);
}

}  // namespace
}  // namespace obx::collector
