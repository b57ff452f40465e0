#include "upload/upload_parser.h"

#include <gtest/gtest.h>

#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "config/sdk_configuration.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/zip/zip_archive.h"
#include "store/files/aes.h"
#include "store/files/security.h"
#include "testing/log_capture.h"
#include "testing/run_command.h"
#include "testing/spool.h"

namespace obx {
namespace {

using testing::runCommand;

using testing::readBytes;
using testing::writeBytes;

constexpr const char* kAccount = "ACC98765";
constexpr const char* kProperty = "PROP1234";
constexpr const char* kSessionID = "SESS-ION+1|99";
constexpr const char* kLeadID = "LE-AD+1|x";

template <typename T>
std::string block(EventType type, std::int64_t offset, const T& payload) {
  return encodeJSON(Json(Event<T>{type, offset, payload}));
}

class UploadParserTest : public ::testing::Test {
 protected:
  UploadParserTest() { logs_.clear(); }
  ~UploadParserTest() override { Logger::setLevel(previousLevel_); }

  BatchContext batch(const std::string& id) const { return testing::Spool::batch(id, start_); }

  // Stores an event `milliseconds` after the screen's start; keep them multiples of 125 so that
  // the date arithmetic is exact.
  template <typename T>
  void save(const std::string& batchID, int milliseconds, EventType type, const T& payload) {
    ASSERT_FALSE(controller_.saveEventNow(type, start_ + milliseconds / 1000.0, payload, batch(batchID)).has_value());
  }

  void saveIdentity(const std::string& batchID, const std::string& sessionID = kSessionID,
                    const std::string& leadID = kLeadID) {
    save(batchID, 0, EventType::session, Session{sessionID, leadID});
    save(batchID, 0, EventType::batch, Batch{"c-1", 1767225600.75});
  }

  void saveImage(const std::string& batchID, int milliseconds, std::int64_t index, const std::string& bytes) {
    save(batchID, milliseconds, EventType::image, ImageEvent{index, "img" + std::to_string(index), 100, 200, 1000 + index});
    controller_.saveImage(Image{index, bytes, 1000 + index}, batch(batchID));
    scheduler_->runUntilIdle();
  }

  ScreenToSend screen(const std::vector<std::string>& batches) {
    return controller_.screenToSend(ScreenBatches{batches.front().substr(0, batches.front().find('_')), batches, 0});
  }

  // The files of the archive's "raw" folder, deciphered with the session's key.
  std::map<std::string, std::string> rawFiles(const platform::Data& zip, const std::string& id,
                                              const std::string& sessionID = kSessionID,
                                              const std::string& leadID = kLeadID) {
    std::map<std::string, std::string> files;
    auto entries = platform::readZip(zip);
    EXPECT_TRUE(entries.has_value());
    if (!entries) return files;
    const Security security(sessionID, leadID, kProperty, kAccount);
    auto aes = AES::make(security.key(), security.ivK());
    const std::string prefix = id + "_zip/raw/";
    for (const auto& entry : *entries) {
      if (entry.isDirectory() || entry.name.rfind(prefix, 0) != 0) continue;
      auto plain = aes->decrypt(std::string(entry.bytes.begin(), entry.bytes.end()));
      EXPECT_TRUE(plain.has_value()) << entry.name;
      files[entry.name.substr(prefix.size())] = plain.value_or("");
    }
    return files;
  }

  std::string body(const UploadScreen& screen) { return rawFiles(screen.zip, screen.id)["data"]; }

  std::string parsedBody(const std::vector<std::string>& batches) {
    auto parsed = parser_.parse(screen(batches));
    EXPECT_TRUE(parsed.has_value());
    return parsed ? body(*parsed) : "";
  }

  std::filesystem::path zipFolder(const std::string& id) const { return spool_.sandbox().storeRoot() / id / "zip"; }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::LogCapture logs_;
  const platform::Date start_ = scheduler_->now();
  testing::Spool spool_{scheduler_, testing::Spool::Options()
                                         .withConfiguration(std::make_shared<SDKConfiguration>(
                                             Configuration(kAccount, kProperty, Consent::analyticsAndRecording, false,
                                                           true, false, false, false),
                                             Platform{}, scheduler_))
                                         .withPhysicalMemory(1e6)};
  const std::shared_ptr<SDKConfiguration>& configuration_ = spool_.configuration();
  LogLevel previousLevel_ = Logger::level();
  DataController& controller_ = *spool_.dataController();
  UploadParser parser_{std::make_shared<UploaderConfiguration>(configuration_), spool_.sandbox().storeRoot(), scheduler_};
};

// A screen of two batches becomes the ZIP's layout and body: sorted by offset, "batch", "bE" and
// "image" gone, an "images" event at the "bE" offset with durations to the next image and to "bE",
// the middle "aE" moved 10 ms past the last event; the screen carries cleaned IDs, the first batch's
// cScreenID, the truncated start time and the weighted sampling record.
TEST_F(UploadParserTest, BodyAndArchiveOfTwoBatches) {
  saveIdentity("S_1");
  save("S_1", 0, EventType::screen, Screen{"Home", 1, 0, "portrait"});
  save("S_1", 0, EventType::weightedSampling, WeightedSampling{true, false, "w"});
  saveImage("S_1", 125, 0, std::string("\xff\xd8 first image\0", 16));
  save("S_1", 250, EventType::touchBegan, std::vector<Touch>{Touch{1, 2, {}, {}, {}, {}, {}}});
  save("S_1", 375, EventType::network, Network{"api.example/v1", "a=1/b", "GET", 200, 5, 6, 7, 8, "", false});
  save("S_1", 500, EventType::applicationEnd, std::string("end"));
  save("S_2", 625, EventType::batch, Batch{"c-2", 1767225605.0});
  saveImage("S_2", 625, 1, "second image");
  save("S_2", 750, EventType::performance, Performance{12.5, 300.25, 0.5, 4, 1024.5, std::nullopt});
  save("S_2", 1000, EventType::batchEnd, std::string("S_2"));

  auto parsed = parser_.parse(screen({"S_1", "S_2"}));
  ASSERT_TRUE(parsed.has_value());
  EXPECT_EQ(parsed->id, "S_2");
  EXPECT_EQ(parsed->cScreenID, "c-1");
  EXPECT_EQ(parsed->sessionID, "SESSION1");
  EXPECT_EQ(parsed->leadID, "LEAD1");
  EXPECT_EQ(parsed->startTime, 1767225600);
  EXPECT_EQ(parsed->isInSampling, (WeightedSampling{true, false, "w"}));

  std::vector<std::string> names;
  const auto entries = platform::readZip(parsed->zip);
  ASSERT_TRUE(entries.has_value());
  for (const auto& entry : *entries) names.push_back(entry.name);
  EXPECT_EQ(names, (std::vector<std::string>{"S_2_zip/", "S_2_zip/raw/", "S_2_zip/raw/0", "S_2_zip/raw/1",
                                             "S_2_zip/raw/data"}));
  auto files = rawFiles(parsed->zip, "S_2");
  EXPECT_EQ(files["0"], std::string("\xff\xd8 first image\0", 16));
  EXPECT_EQ(files["1"], "second image");
  EXPECT_EQ(files["data"],
            R"([{"t":"session","o":0,"d":{"sessionID":"SESS-ION+1|99","leadID":"LE-AD+1|x"}},)"
            R"({"t":"screen","o":0,"d":{"sN":"Home","sI":1,"sT":0,"o":"portrait"}},)"
            R"({"t":"weightedSampling","o":0,"d":{"video":true,"data":false,"sampling":"w"}},)"
            R"({"t":"tB","o":250,"d":[{"x":1,"y":2}]},)"
            R"({"t":"network","o":375,"d":{"host":"api.example/v1","parameters":"a=1/b","method":"GET","code":200,)"
            R"("dateRequest":5,"duration":6,"bytesSent":7,"bytesReceived":8,"error":"","private":false}},)"
            R"({"t":"performance","o":750,"d":{"c":12.5,"m":300.25,"b":0.5,"nC":4,"mM":1024.5}},)"
            R"({"t":"images","o":1000,"d":[)"
            R"({"sName":"img0.jpg","sIndex":0,"sWidth":100,"sHeight":200,"sDuration":500,"timestamp":1000},)"
            R"({"sName":"img1.jpg","sIndex":1,"sWidth":100,"sHeight":200,"sDuration":375,"timestamp":1001}]},)"
            R"({"t":"aE","o":1010,"d":""}])");
  // The work folder is gone; the archive stays beside it for a retry.
  EXPECT_FALSE(std::filesystem::exists(zipFolder("S_2") / "S_2_zip"));
  EXPECT_EQ(readBytes(zipFolder("S_2") / "S_2.zip"), std::string(parsed->zip.begin(), parsed->zip.end()));
}

// Without "bE" the "images" event sits at offset 0 and the last image lasts one frame of the video
// quality: poor 500, low 250, average 166, high 100, ultra 83 ms.
TEST_F(UploadParserTest, LastImageFallsBackToFrameDuration) {
  const std::vector<std::pair<VideoQualityType, int>> cases = {{VideoQualityType::poor, 500},
                                                               {VideoQualityType::low, 250},
                                                               {VideoQualityType::average, 166},
                                                               {VideoQualityType::high, 100},
                                                               {VideoQualityType::ultra, 83}};
  int screenNumber = 0;
  for (const auto& [quality, duration] : cases) {
    configuration_->editCommon([quality = quality](Common& common) { common.videoQualityType = quality; });
    const std::string id = "Q" + std::to_string(++screenNumber) + "_1";
    saveIdentity(id);
    saveImage(id, 250, 0, "a");
    saveImage(id, 500, 1, "b");
    EXPECT_EQ(parsedBody({id}),
              R"([{"t":"session","o":0,"d":{"sessionID":"SESS-ION+1|99","leadID":"LE-AD+1|x"}},)"
              R"({"t":"images","o":0,"d":[)"
              R"({"sName":"img0.jpg","sIndex":0,"sWidth":100,"sHeight":200,"sDuration":250,"timestamp":1000},)"
              R"({"sName":"img1.jpg","sIndex":1,"sWidth":100,"sHeight":200,"sDuration":)" +
                  std::to_string(duration) + R"(,"timestamp":1001}]}])")
        << static_cast<int>(quality);
  }
}

// Images stored out of order are timed by offset; a "bE" at or before the last image gives it the
// frame duration; images sharing an index are listed together.
TEST_F(UploadParserTest, ImageOrderDurationsAndSharedIndexes) {
  configuration_->editCommon([](Common& common) { common.videoQualityType = VideoQualityType::high; });
  saveIdentity("A_1");
  saveImage("A_1", 375, 1, "one");
  saveImage("A_1", 125, 0, "zero");
  saveImage("A_1", 750, 2, "two");
  save("A_1", 750, EventType::batchEnd, std::string("A_1"));
  auto parsed = parser_.parse(screen({"A_1"}));
  ASSERT_TRUE(parsed.has_value());
  auto images = parseJSON(body(*parsed)).back();
  EXPECT_EQ(images["t"], "images");
  EXPECT_EQ(images["o"], 750);
  std::vector<std::pair<std::int64_t, std::int64_t>> timing;
  for (const auto& image : images["d"]) timing.emplace_back(image["sIndex"], image["sDuration"]);
  EXPECT_EQ(timing, (std::vector<std::pair<std::int64_t, std::int64_t>>{{0, 250}, {1, 375}, {2, 100}}));

  // Index 0 at 0 (first batch) and 250 (second batch), index 1 at 125: the two index-0 images
  // come first, each timed by its neighbour in offset order; "bE" at 1000 times the last.
  saveIdentity("B_1");
  saveImage("B_1", 0, 0, "first");
  saveImage("B_1", 125, 1, "other");
  saveImage("B_2", 250, 0, "second");
  save("B_2", 1000, EventType::batchEnd, std::string("B_2"));
  parsed = parser_.parse(screen({"B_1", "B_2"}));
  ASSERT_TRUE(parsed.has_value());
  images = parseJSON(body(*parsed)).back();
  timing.clear();
  for (const auto& image : images["d"]) timing.emplace_back(image["sIndex"], image["sDuration"]);
  EXPECT_EQ(timing, (std::vector<std::pair<std::int64_t, std::int64_t>>{{0, 125}, {0, 750}, {1, 125}}));
  // One file per index: the image of the later batch is the one in the archive.
  auto files = rawFiles(parsed->zip, "B_2");
  EXPECT_EQ(files.size(), 3u);
  EXPECT_EQ(files["0"], "second");
}

// Session and lead IDs lose what follows the first "|" and every "+" and "-"; the body keeps the
// raw values and the key is derived from them.
TEST_F(UploadParserTest, IdentifierCleaning) {
  struct Case {
    std::string raw, cleaned;
  };
  const std::vector<Case> cases = {{"AB-CD+EF", "ABCDEF"},
                                   {"a-b|c-d|e", "ab"},
                                   {"+-+-", ""},
                                   {"|tail", ""},
                                   {"plain", "plain"},
                                   {"6F9619FF-8B86-D011-B42D-00C04FC964FF|1767225600|x", "6F9619FF8B86D011B42D00C04FC964FF"}};
  int number = 0;
  for (const auto& c : cases) {
    const std::string id = "C" + std::to_string(++number) + "_1";
    // A session ID of its own per case, so each derives its own key.
    const std::string session = std::to_string(number) + c.raw;
    saveIdentity(id, session, c.raw);
    auto parsed = parser_.parse(screen({id}));
    ASSERT_TRUE(parsed.has_value()) << c.raw;
    EXPECT_EQ(parsed->leadID, c.cleaned) << c.raw;
    EXPECT_EQ(parsed->sessionID, std::to_string(number) + c.cleaned) << c.raw;
    auto files = rawFiles(parsed->zip, id, session, c.raw);
    EXPECT_NE(files["data"].find(R"({"sessionID":")" + session + R"(","leadID":")" + c.raw + R"("})"),
              std::string::npos)
        << c.raw;
  }
}

// "aE" before the end moves to the end, 10 ms after the last other event, with an empty text;
// an "aE" that is last stays as it is; a screen without one gets none.
TEST_F(UploadParserTest, ApplicationEndIsForcedLast) {
  struct Case {
    std::vector<std::pair<int, std::string>> ends;  // offset and text of each "aE"
    std::string tail;                               // the body after the session event
  };
  const std::vector<Case> cases = {
      {{{250, "end"}}, R"({"t":"tB","o":125,"d":[{"x":1,"y":2}]},{"t":"goal","o":500,"d":{"conid":"g","conc":"EUR","conv":1.5}},{"t":"aE","o":510,"d":""}])"},
      {{{125, "a"}, {250, "b"}}, R"({"t":"tB","o":125,"d":[{"x":1,"y":2}]},{"t":"goal","o":500,"d":{"conid":"g","conc":"EUR","conv":1.5}},{"t":"aE","o":510,"d":""}])"},
      {{{625, "last"}}, R"({"t":"tB","o":125,"d":[{"x":1,"y":2}]},{"t":"goal","o":500,"d":{"conid":"g","conc":"EUR","conv":1.5}},{"t":"aE","o":625,"d":"last"}])"},
      {{}, R"({"t":"tB","o":125,"d":[{"x":1,"y":2}]},{"t":"goal","o":500,"d":{"conid":"g","conc":"EUR","conv":1.5}}])"},
  };
  int number = 0;
  for (const auto& c : cases) {
    const std::string id = "E" + std::to_string(++number) + "_1";
    saveIdentity(id);
    for (const auto& [offset, text] : c.ends) save(id, offset, EventType::applicationEnd, text);
    save(id, 125, EventType::touchBegan, std::vector<Touch>{Touch{1, 2, {}, {}, {}, {}, {}}});
    save(id, 500, EventType::goal, Goal{"g", "EUR", 1.5f});
    // "bE" comes after every other event and still doesn't count as the last one.
    save(id, 875, EventType::batchEnd, id);
    EXPECT_EQ(parsedBody({id}),
              R"([{"t":"session","o":0,"d":{"sessionID":"SESS-ION+1|99","leadID":"LE-AD+1|x"}},)" + c.tail)
        << number;
  }
}

// With captureURLParameters off, every "network" event keeps its "parameters" key, empty; with it
// on, the parameters go out as stored.
TEST_F(UploadParserTest, URLParametersFollowTheSetting) {
  for (bool capture : {false, true}) {
    configuration_->editCommon([capture](Common& common) { common.captureURLParameters = capture; });
    const std::string id = capture ? "N1_1" : "N2_1";
    saveIdentity(id);
    save(id, 125, EventType::network, Network{"h", "q=secret", "POST", 500, 1, 2, 3, 4, "boom", true});
    save(id, 250, EventType::network, Network{"h2", "x=1", "GET", 200, 1, 2, 3, 4, "", false});
    auto events = parseJSON(parsedBody({id}));
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[1]["d"]["parameters"], capture ? "q=secret" : "");
    EXPECT_EQ(events[2]["d"]["parameters"], capture ? "x=1" : "");
    EXPECT_EQ(events[1]["d"]["error"], "boom");
    EXPECT_EQ(events[1]["d"].size(), 10u);
  }
}

// A second parse reuses the archive on disk byte for byte, even when events were added since;
// once the archive is gone, the next parse builds it afresh with the new events.
TEST_F(UploadParserTest, ArchiveIsReusedUntilDeleted) {
  saveIdentity("R_1");
  saveImage("R_1", 125, 0, "image");
  auto first = parser_.parse(screen({"R_1"}));
  ASSERT_TRUE(first.has_value());

  save("R_1", 250, EventType::goal, Goal{"late", "USD", 2.0f});
  auto second = parser_.parse(screen({"R_1"}));
  ASSERT_TRUE(second.has_value());
  EXPECT_EQ(second->zip, first->zip);
  EXPECT_EQ(second->cScreenID, "c-1");
  EXPECT_EQ(body(*second).find("late"), std::string::npos);

  std::filesystem::remove(zipFolder("R_1") / "R_1.zip");
  auto third = parser_.parse(screen({"R_1"}));
  ASSERT_TRUE(third.has_value());
  EXPECT_NE(body(*third).find(R"({"t":"goal","o":250,"d":{"conid":"late","conc":"USD","conv":2.0}})"),
            std::string::npos);
}

// Screens that can't be identified give nothing, log why and leave nothing on disk.
TEST_F(UploadParserTest, ScreensThatCannotBeIdentified) {
  const std::string session = block(EventType::session, 0, Session{"s-1", "l-1"});
  const std::string batch = block(EventType::batch, 0, Batch{"c", 1.0});
  struct Case {
    std::vector<std::string> events;
    std::vector<std::string> logs;
  };
  const std::vector<Case> cases = {
      {{}, {"Empty events in screen to send, screenID: F_1"}},
      {{batch, "not json"}, {"Error parsing session is nil", "Error parser, screenID: F_1"}},
      {{block(EventType::session, 0, Session{"s-1", ""}), batch}, {"Fail to parse lead ID", "Error parser, screenID: F_1"}},
      {{block(EventType::session, 0, Session{"", "l-1"}), batch},
       {"Fail to parse session ID", "Error parser, screenID: F_1"}},
      {{block(EventType::session, 0, Session{"", ""}), batch}, {"Fail to parse lead ID", "Error parser, screenID: F_1"}},
      {{session, block(EventType::screen, 0, Screen{"x", 1, 2, "p"})},
       {"Fail to parse Batch event", "Error parser, screenID: F_1"}},
  };
  for (const auto& c : cases) {
    logs_.clear();
    EXPECT_FALSE(parser_.parse(ScreenToSend{"F_1", c.events, std::nullopt, {"F_1"}}).has_value());
    EXPECT_EQ(logs_.messages(), c.logs);
    for (const auto& entry : logs_.entries()) EXPECT_EQ(entry.second, LogLevel::qa) << entry.first;
  }

  // A start time that is no 64-bit integer of seconds is a batch that can't be used.
  logs_.clear();
  EXPECT_FALSE(
      parser_.parse(ScreenToSend{"F_1", {session, block(EventType::batch, 0, Batch{"c", 1e300})}, {}, {}}).has_value());
  auto messages = logs_.messages();
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0].rfind("Error parsing Batch event ", 0), 0u);
  EXPECT_EQ(messages[1], "Error parser, screenID: F_1");
  EXPECT_FALSE(std::filesystem::exists(spool_.sandbox().storeRoot() / "F_1"));
}

// A screen whose events don't decode by their type has no body: with verbose logging every stored
// block is logged (or "Error events" when it isn't text), and no archive is made.
TEST_F(UploadParserTest, EmptyOrUnwritableBodyFails) {
  Logger::setLevel(LogLevel::qa);
  // These decode as a session and a batch, but not as the types their "t" names.
  const std::vector<std::string> events = {R"({"t":"screen","o":0,"d":{"sessionID":"s-1","leadID":"l-1"}})",
                                           R"({"t":"goal","o":0,"d":{"cScreenID":"c","startTime":1.5}})",
                                           std::string("\xff\xfe", 2)};
  EXPECT_FALSE(parser_.parse(ScreenToSend{"G_1", events, std::nullopt, {"G_1"}}).has_value());
  EXPECT_EQ(logs_.messages(), (std::vector<std::string>{events[0], events[1], "Error events",
                                                        "Fail to parse JSON verification is false",
                                                        "Error parser, ID: G_1"}));
  EXPECT_FALSE(std::filesystem::exists(zipFolder("G_1") / "G_1.zip"));

  // Without verbose logging only the failure itself is told.
  Logger::setLevel(LogLevel::public_);
  logs_.clear();
  EXPECT_FALSE(parser_.parse(ScreenToSend{"G_1", events, std::nullopt, {"G_1"}}).has_value());
  EXPECT_EQ(logs_.messages(),
            (std::vector<std::string>{"Fail to parse JSON verification is false", "Error parser, ID: G_1"}));

  // A body that can't be written as JSON (a goal value beyond a 32-bit float) fails with the
  // encoder's reason.
  logs_.clear();
  const std::vector<std::string> unwritable = {block(EventType::session, 0, Session{"s-1", "l-1"}),
                                               block(EventType::batch, 0, Batch{"c", 1.0}),
                                               R"({"t":"goal","o":5,"d":{"conid":"g","conc":"EUR","conv":1e300}})"};
  EXPECT_FALSE(parser_.parse(ScreenToSend{"H_1", unwritable, std::nullopt, {"H_1"}}).has_value());
  EXPECT_EQ(logs_.messages(),
            (std::vector<std::string>{"Fail to parse data with error: Invalid value: a number is not finite",
                                      "Error parser, ID: H_1"}));
}

// A ZIP that the file system refuses gives nothing, leaves no archive and asks to be retried: the
// screen is kept, and the next parse starts afresh.
TEST_F(UploadParserTest, FailedArchiveLeavesNothingToReuse) {
  saveIdentity("Z_1");
  writeBytes(zipFolder("Z_1") / "Z_1.zip.writing" / "x", "a folder where the archive is written");
  bool retryLater = false;
  EXPECT_FALSE(parser_.parse(screen({"Z_1"}), &retryLater).has_value());
  EXPECT_TRUE(retryLater);
  auto messages = logs_.messages();
  ASSERT_GE(messages.size(), 1u);
  EXPECT_EQ(messages.back().rfind("Error creating ZIP file in memory: ", 0), 0u);
  EXPECT_FALSE(logs_.contains("Error parser, ID: Z_1"));
  EXPECT_FALSE(std::filesystem::exists(zipFolder("Z_1") / "Z_1.zip"));

  std::filesystem::remove_all(zipFolder("Z_1") / "Z_1.zip.writing");
  EXPECT_TRUE(parser_.parse(screen({"Z_1"})).has_value());
}

// A build that a dying process left half done (an image of another attempt, a temporary file, or
// a file where the folder goes) is not zipped: each build starts from an empty work folder.
TEST_F(UploadParserTest, LeftoversOfAnEarlierBuildAreNotZipped) {
  saveIdentity("L_1");
  saveImage("L_1", 125, 0, "the image");
  for (bool asFile : {false, true}) {
    SCOPED_TRACE(asFile ? "file" : "folder");
    if (asFile) {
      writeBytes(zipFolder("L_1") / "L_1_zip", "a file where the work folder goes");
    } else {
      writeBytes(zipFolder("L_1") / "L_1_zip" / "raw" / "7", "stale image of an earlier attempt");
      writeBytes(zipFolder("L_1") / "L_1_zip" / "raw" / "data.writing", "half a body");
    }
    auto parsed = parser_.parse(screen({"L_1"}));
    ASSERT_TRUE(parsed.has_value());
    std::vector<std::string> names;
    const auto entries = platform::readZip(parsed->zip);
    ASSERT_TRUE(entries.has_value());
    for (const auto& entry : *entries) names.push_back(entry.name);
    EXPECT_EQ(names, (std::vector<std::string>{"L_1_zip/", "L_1_zip/raw/", "L_1_zip/raw/0", "L_1_zip/raw/data"}));
    EXPECT_EQ(rawFiles(parsed->zip, "L_1")["0"], "the image");
    std::filesystem::remove(zipFolder("L_1") / "L_1.zip");
  }
}

// With keepVideoData the enciphered files are copied to Library/Caches/obx.ombrix.zips on the debug
// queue, in a folder named by the cleaned session ID and the raw lead ID; without it nothing is.
TEST_F(UploadParserTest, DebugCopy) {
  saveIdentity("D_1");
  saveImage("D_1", 125, 3, "image three");
  auto parsed = parser_.parse(screen({"D_1"}));
  ASSERT_TRUE(parsed.has_value());
  scheduler_->runUntilIdle();
  const auto zips = platform::cachesDirectory() / "obx.ombrix.zips";
  EXPECT_FALSE(std::filesystem::exists(zips));

  configuration_->editCommon([](Common& common) { common.keepVideoData = true; });
  saveIdentity("D_2");
  saveImage("D_2", 125, 3, "image three");
  parsed = parser_.parse(screen({"D_2"}));
  ASSERT_TRUE(parsed.has_value());
  const auto raw = zips / "SESSION1_LE-AD+1|x" / "D_2_zip" / "raw";
  EXPECT_FALSE(std::filesystem::exists(raw));  // not before the debug queue runs
  scheduler_->runUntilIdle();
  auto files = rawFiles(parsed->zip, "D_2");
  for (const auto& [name, plain] : files) {
    const Security security(kSessionID, kLeadID, kProperty, kAccount);
    EXPECT_EQ(AES::make(security.key(), security.ivK())->decrypt(readBytes(raw / name)), plain) << name;
  }
  EXPECT_EQ(files.size(), 2u);
  EXPECT_TRUE(logs_.contains("ZIP Create to DEBUG D_2 in file://" + raw.string(), LogLevel::developer));
}

// The archive's files decipher with the openssl command line under the key derived by hand: MD5 of
// "0F1E2D3C" + "01234567" + "ROP" + "C987" is 6775d0bcc469f62f470dcc0fd7923af8, whose halves are
// the key and IV texts, used as their ASCII bytes with AES-128-CBC.
TEST_F(UploadParserTest, ArchiveDeciphersWithOpenSSL) {
  if (runCommand("command -v openssl").empty()) GTEST_SKIP() << "openssl is not on PATH";
  const std::string sessionID = "0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0|1700000000";
  const std::string leadID = "LEAD-0123456789";
  saveIdentity("O_1", sessionID, leadID);
  save("O_1", 125, EventType::screen, Screen{"Main/Settings", 2, 3, "landscape"});
  saveImage("O_1", 250, 7, std::string("\x00\x01\x02 jpeg bytes \xff", 16));
  auto parsed = parser_.parse(screen({"O_1"}));
  ASSERT_TRUE(parsed.has_value());

  const std::string keyHex = "36373735643062636334363966363266";  // "6775d0bcc469f62f"
  const std::string ivHex = "34373064636330666437393233616638";   // "470dcc0fd7923af8"
  const auto entries = platform::readZip(parsed->zip);
  ASSERT_TRUE(entries.has_value());
  auto decipher = [&](const std::string& name) {
    for (const auto& entry : *entries) {
      if (entry.name != "O_1_zip/raw/" + name) continue;
      const auto file = spool_.sandbox().path() / ("cipher-" + name);
      writeBytes(file, std::string(entry.bytes.begin(), entry.bytes.end()));
      return runCommand("openssl enc -d -aes-128-cbc -K " + keyHex + " -iv " + ivHex + " -in '" + file.string() +
                        "' 2>/dev/null");
    }
    return std::string("no entry ") + name;
  };
  EXPECT_EQ(decipher("data"),
            R"([{"t":"session","o":0,"d":{"sessionID":"0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0|1700000000",)"
            R"("leadID":"LEAD-0123456789"}},{"t":"images","o":0,"d":[{"sName":"img7.jpg","sIndex":7,"sWidth":100,)"
            R"("sHeight":200,"sDuration":166,"timestamp":1007}]},)"
            R"({"t":"screen","o":125,"d":{"sN":"Main/Settings","sI":2,"sT":3,"o":"landscape"}}])");
  EXPECT_EQ(decipher("7"), std::string("\x00\x01\x02 jpeg bytes \xff", 16));
}

}  // namespace
}  // namespace obx
