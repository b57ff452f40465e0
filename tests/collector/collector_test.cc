#include "collector/collector.h"

#include <gtest/gtest.h>
#include <httplib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <mutex>

#include <string>
#include <vector>

#include "collector/upload_decoder.h"
#include "platform/zip/zip_archive.h"
#include "store/files/aes.h"
#include "store/files/security.h"
#include "../store/store_test_support.h"

namespace obx::collector {
namespace {

namespace fs = std::filesystem;
using testing::readBytes;
using testing::writeBytes;

constexpr const char* kAccount = "acme";
constexpr const char* kProperty = "prop-1";
constexpr const char* kLeadID = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

// The SDK's cleaning of an ID: the text before the first "|", without "+" and "-".
std::string cleaned(std::string id) {
  id = id.substr(0, id.find('|'));
  std::erase(id, '-');
  std::erase(id, '+');
  return id;
}

// A JPEG's first bytes are enough for the collector, which stores images as they come.
std::string fakeJPEG(char tag) { return std::string("\xFF\xD8\xFF\xE0", 4) + std::string(40, tag); }

// The body of a screen as the SDK sends it: session, screen, a touch, two frames and the end.
std::string screenBody(const std::string& rawSessionID, const std::string& screenName) {
  Json body = Json::array();
  body.push_back({{"t", "session"}, {"o", 0}, {"d", {{"sessionID", rawSessionID}, {"leadID", kLeadID}}}});
  body.push_back({{"t", "screen"}, {"o", 0}, {"d", {{"sN", screenName}, {"sI", 1}, {"sT", 0}, {"o", "portrait"}}}});
  body.push_back({{"t", "tB"}, {"o", 120}, {"d", Json::array({{{"x", 10}, {"y", 20}}})}});
  Json frames = Json::array();
  frames.push_back({{"sName", "frame0.jpg"}, {"sIndex", 0}, {"sWidth", 390}, {"sHeight", 844},
                    {"sDuration", 400}, {"timestamp", 1700000000}});
  frames.push_back({{"sName", "frame1.jpg"}, {"sIndex", 1}, {"sWidth", 390}, {"sHeight", 844},
                    {"sDuration", 500}, {"timestamp", 1700000001}});
  body.push_back({{"t", "images"}, {"o", 900}, {"d", frames}});
  body.push_back({{"t", "aE"}, {"o", 910}, {"d", ""}});
  return body.dump();
}

// An upload built by hand the way the SDK builds it: `<id>_zip/raw/data` and `<id>_zip/raw/<index>`,
// each file enciphered with `key`/`iv`, zipped with the folder as root.
std::string buildZip(const fs::path& workDirectory, const std::string& id, const std::string& key,
                     const std::string& iv, const std::string& body, const std::map<int, std::string>& images) {
  auto aes = AES::make(key, iv);
  EXPECT_TRUE(aes.has_value());
  const fs::path folder = workDirectory / (id + "_zip");
  fs::remove_all(folder);
  writeBytes(folder / "raw" / "data", *aes->encrypt(body));
  for (const auto& [index, bytes] : images) writeBytes(folder / "raw" / std::to_string(index), *aes->encrypt(bytes));
  const fs::path archive = workDirectory / (id + ".zip");
  EXPECT_FALSE(platform::zipFolder(folder, archive).has_value());
  return readBytes(archive);
}

struct Upload {
  std::string rawSessionID;
  std::string cScreenID;
  std::string id;
  std::string body;
  std::map<int, std::string> images;
};

class CollectorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    root_ = fs::temp_directory_path() /
            ("obx-collector-test-" + std::to_string(::getpid()) + "-" + info->name());
    fs::remove_all(root_);
    fs::create_directories(root_ / "work");
  }

  void TearDown() override {
    collectors_.clear();
    fs::remove_all(root_);
  }

  Collector::Options options() {
    Collector::Options options;
    options.dataDirectory = root_ / "data";
    options.accounts = {kAccount};
    options.log = [this](const std::string& line) {
      std::lock_guard lock(logMutex_);
      log_.push_back(line);
    };
    return options;
  }

  Collector& start(Collector::Options options) {
    collectors_.push_back(std::make_unique<Collector>(std::move(options)));
    EXPECT_TRUE(collectors_.back()->start());
    return *collectors_.back();
  }

  std::string zipOf(const Upload& upload) {
    Security security(upload.rawSessionID, kLeadID, kProperty, kAccount);
    return buildZip(root_ / "work", upload.id, security.key(), security.ivK(), upload.body, upload.images);
  }

  static std::string uploadPath(const Upload& upload, const std::string& extra = "") {
    return "/asset/?type=zip&wid=" + std::string(kProperty) + "&sk=" + upload.cScreenID +
           "&sid=" + cleaned(upload.rawSessionID) + "&lid=" + kLeadID + "&passed=1&asset=" + upload.id + ".zip" +
           extra;
  }

  static httplib::Result post(const Collector& collector, const std::string& path, const std::string& body) {
    httplib::Client client(collector.baseURL());
    return client.Post(path.c_str(), body, "application/octet-stream");
  }

  static httplib::Result get(const Collector& collector, const std::string& path) {
    httplib::Client client(collector.baseURL());
    return client.Get(path.c_str());
  }

  static Upload checkoutUpload(const std::string& rawSessionID, const std::string& id = "S1_20240101120000") {
    return Upload{rawSessionID, "5d41402abc4b2a76b9719d911017c592", id, screenBody(rawSessionID, "Checkout"),
                  {{0, fakeJPEG('a')}, {1, fakeJPEG('b')}}};
  }

  std::vector<std::string> logLines() {
    std::lock_guard lock(logMutex_);
    return log_;
  }

  void clearLog() {
    std::lock_guard lock(logMutex_);
    log_.clear();
  }

  bool logContains(const std::string& text) {
    for (const auto& line : logLines()) {
      if (line.find(text) != std::string::npos) return true;
    }
    return false;
  }

  fs::path root_;
  std::mutex logMutex_;
  std::vector<std::string> log_;
  std::vector<std::unique_ptr<Collector>> collectors_;
};

// The document comes from memory, then <account>/<property>.json, then default.json, then "{}";
// files are read again on each request, and removing the memory document falls back to the file.
TEST_F(CollectorTest, ConfigurationLookupOrderAndLiveChanges) {
  auto withFolder = options();
  withFolder.configDirectory = root_ / "config";
  writeBytes(root_ / "config" / kAccount / "p2.json", R"({"vs_videoQuality":3})");
  writeBytes(root_ / "config" / "default.json", R"({"qv_sessionTimeout":30})");
  Collector& collector = start(withFolder);
  collector.setConfiguration(kAccount, "p1", R"({"vs_imageQuality":1})");
  collector.setConfiguration(kAccount, "p2", R"({"vs_imageQuality":2})");

  struct Case {
    std::string property;
    std::string expected;
  };
  for (const Case& c : {Case{"p1", R"({"vs_imageQuality":1})"}, Case{"p2", R"({"vs_imageQuality":2})"},
                        Case{"p3", R"({"qv_sessionTimeout":30})"}}) {
    auto answer = get(collector, "/i/" + std::string(kAccount) + "/" + c.property + "/app.session");
    ASSERT_TRUE(answer) << c.property;
    EXPECT_EQ(answer->status, 200) << c.property;
    EXPECT_EQ(answer->body, c.expected) << c.property;
    EXPECT_EQ(answer->get_header_value("Content-Type"), "application/json") << c.property;
  }

  collector.removeConfiguration(kAccount, "p2");
  EXPECT_EQ(get(collector, "/i/acme/p2/app.session")->body, R"({"vs_videoQuality":3})");
  writeBytes(root_ / "config" / kAccount / "p2.json", R"({"vs_videoQuality":4})");
  EXPECT_EQ(get(collector, "/i/acme/p2/app.session")->body, R"({"vs_videoQuality":4})");
  fs::remove(root_ / "config" / "default.json");
  EXPECT_EQ(get(collector, "/i/acme/p3/app.session")->body, "{}");
  // Another account has no file of its own and no default left.
  EXPECT_EQ(get(collector, "/i/other/p2/app.session")->body, "{}");

  Collector& bare = start(options());
  EXPECT_EQ(get(bare, "/i/acme/p1/app.session")->body, "{}");
  EXPECT_EQ(collector.statistics().configurationRequests, 7u);
}

// A document that doesn't decode (out-of-range quality, a string where a list belongs, not JSON) is
// served byte for byte, with a warning naming its source.
TEST_F(CollectorTest, BadConfigurationIsServedAsItIsWithAWarning) {
  Collector& collector = start(options());
  for (const std::string document : {R"({"vs_videoQuality":9})", R"({"dst_forceHiFi":"Home"})", "not json"}) {
    collector.setConfiguration(kAccount, kProperty, document);
    auto answer = get(collector, "/i/acme/prop-1/app.session");
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 200);
    EXPECT_EQ(answer->body, document);
  }
  std::size_t warnings = 0;
  for (const auto& line : logLines()) {
    if (line.starts_with("warning: the configuration of acme/prop-1 from memory does not decode")) ++warnings;
  }
  EXPECT_EQ(warnings, 3u);
}

// An upload with the IDs cleaned as the SDK cleans them is deciphered and stored as events.json
// (the body, pretty-printed), one <index>.jpg per image, and an upload note; the answer is 200, empty.
TEST_F(CollectorTest, UploadIsDecipheredAndStored) {
  Collector& collector = start(options());
  const std::string rawSessionID = "0F8FAD5B-D9CB-469F-A165-70867728950E42";
  const Upload upload = checkoutUpload(rawSessionID);
  auto answer = post(collector, uploadPath(upload, "&dnt=1&jspsf=0"), zipOf(upload));
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, 200);
  EXPECT_EQ(answer->body, "");

  const fs::path folder = root_ / "data" / "0F8FAD5BD9CB469FA16570867728950E42" /
                          "001_5d41402abc4b2a76b9719d911017c592";
  ASSERT_TRUE(fs::is_directory(folder));
  const std::string events = readBytes(folder / "events.json");
  EXPECT_EQ(Json::parse(events), Json::parse(upload.body));
  EXPECT_NE(events.find("\n  {"), std::string::npos) << "events.json is meant for reading: pretty-printed";
  EXPECT_EQ(readBytes(folder / "0.jpg"), fakeJPEG('a'));
  EXPECT_EQ(readBytes(folder / "1.jpg"), fakeJPEG('b'));
  const Json note = Json::parse(readBytes(folder / "upload.json"));
  EXPECT_EQ(note["asset"], "S1_20240101120000.zip");
  EXPECT_EQ(note["leadID"], kLeadID);
  EXPECT_EQ(note["dnt"], 1);
  EXPECT_EQ(note["jspsf"], false);

  auto screens = collector.screensOfSession("0F8FAD5BD9CB469FA16570867728950E42");
  ASSERT_EQ(screens.size(), 1u);
  EXPECT_EQ(screens[0].account, kAccount);
  ASSERT_EQ(screens[0].events.size(), 5u);
  EXPECT_EQ(screens[0].events[3].type, EventType::images);
  EXPECT_EQ(std::get<std::vector<ImageData>>(screens[0].events[3].data)[1].screenshotDuration, 500);
  EXPECT_EQ(collector.screenCounts().at("0F8FAD5BD9CB469FA16570867728950E42"), 1u);
  EXPECT_EQ(collector.requestCount("/asset/", 200), 1u);
  EXPECT_TRUE(logContains("POST /asset/ 200 in "));
  EXPECT_TRUE(logContains("session 0F8FAD5BD9CB469FA16570867728950E42 screen 5d41402abc4b2a76b9719d911017c592"));
}

// Each faulty upload is answered 400 with its reason in the log, and nothing of it is stored.
TEST_F(CollectorTest, FaultyUploadsAreRejected) {
  Collector& collector = start(options());
  const std::string rawSessionID = "1B4E28BA-2FA1-11D2-883F-0016D3CCA42710";
  Security security(rawSessionID, kLeadID, kProperty, kAccount);
  const fs::path work = root_ / "work";
  auto zipWith = [&](const std::string& body) {
    return buildZip(work, "R1", security.key(), security.ivK(), body, {});
  };
  auto bodyWith = [&](const Json& events) { return zipWith(events.dump()); };
  const Json session = {{"t", "session"}, {"o", 0}, {"d", {{"sessionID", rawSessionID}, {"leadID", kLeadID}}}};

  struct Case {
    const char* what;
    std::string query;
    std::string body;
    std::string reason;
  };
  const std::string query = "/asset/?type=zip&wid=prop-1&sk=k1&sid=" + cleaned(rawSessionID) + "&lid=" + kLeadID +
                            "&passed=1&asset=R1.zip";
  const std::vector<Case> cases = {
      {"not a ZIP", query, "plain text", "is not a ZIP archive"},
      {"an object, not an array", query, zipWith(R"({"t":"session"})"), "deciphers into no JSON array"},
      {"unknown type", query, bodyWith(Json::array({session, {{"t", "zz"}, {"o", 5}, {"d", 1}}})),
       "event 1 has the unknown type \"zz\""},
      {"payload of the wrong shape", query,
       bodyWith(Json::array({session, {{"t", "screen"}, {"o", 5}, {"d", {{"sI", 1}}}}})),
       "event 1 (\"screen\") does not decode"},
      {"offsets out of order", query,
       bodyWith(Json::array({{{"t", "aE"}, {"o", 50}, {"d", ""}}, {{"t", "placeholder"}, {"o", 10}, {"d", true}}})),
       "event 1 has offset 10, before the 50"},
      {"event that is no object", query, bodyWith(Json::array({session, 7})), "event 1 is a JSON number"},
      {"no sid", "/asset/?type=zip&wid=prop-1&sk=k1&lid=L&passed=1&asset=R1.zip", zipWith("[]"),
       "\"sid\" is missing"},
      {"a sid that climbs out of the data folder", "/asset/?type=zip&wid=prop-1&sk=k1&sid=..&lid=L&passed=1&asset=R1.zip",
       zipWith("[]"), "has characters a folder name can't have"},
      {"archive of another asset", "/asset/?type=zip&wid=prop-1&sk=k1&sid=" + cleaned(rawSessionID) + "&lid=" +
                                       kLeadID + "&passed=1&asset=OTHER.zip",
       zipWith("[]"), "lies outside \"OTHER_zip/\""},
  };
  for (const Case& c : cases) {
    clearLog();
    auto answer = post(collector, c.query, c.body);
    ASSERT_TRUE(answer) << c.what;
    EXPECT_EQ(answer->status, 400) << c.what;
    EXPECT_TRUE(logContains(c.reason)) << c.what << ": no log line says " << c.reason;
  }
  EXPECT_FALSE(fs::exists(root_ / "data" / cleaned(rawSessionID)));
  EXPECT_EQ(collector.statistics().rejected, cases.size());
  EXPECT_EQ(collector.requestCount("/asset/", 400), cases.size());
  EXPECT_TRUE(collector.screens().empty());
}

// An upload that no served account deciphers (the collector runs with the wrong --account) is
// answered with a server error, which the SDK keeps the screen for, and a loud line; nothing is
// stored, and the same upload is taken once the right account is served.
TEST_F(CollectorTest, UndecipherableUploadKeepsTheScreenOnTheDevice) {
  const Upload upload = checkoutUpload("9B2C6D1E-0A3F-4B5C-8D7E-6F5A4B3C2D1E66", "U1_1");
  Collector::Options wrong = options();
  wrong.accounts = {"not-acme", "other"};
  Collector& collector = start(wrong);
  auto answer = post(collector, uploadPath(upload), zipOf(upload));
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, Collector::kUndecipherableStatus);
  EXPECT_TRUE(logContains("ERROR: session " + cleaned(upload.rawSessionID) +
                          " screen 5d41402abc4b2a76b9719d911017c592: no account this collector serves (not-acme, "
                          "other) deciphers the upload"));
  EXPECT_EQ(collector.statistics().undecipherable, 1u);
  EXPECT_EQ(collector.statistics().rejected, 0u);
  EXPECT_FALSE(fs::exists(root_ / "data" / cleaned(upload.rawSessionID)));
  collector.stop();

  Collector& right = start(options());
  EXPECT_EQ(post(right, uploadPath(upload), zipOf(upload))->status, 200);
}

// Hostile uploads are refused before they cost memory or stack, and the collector keeps serving:
// a tiny archive that declares a 2 GiB entry, an entry that inflates past the bound, and a body of
// 300,000 nested arrays under the right key.
TEST_F(CollectorTest, HostileUploadsAreRefusedWithinBounds) {
  Collector& collector = start(options());
  const Upload upload = checkoutUpload("7E57D004-2B97-0E7A-B45F-5387367791CD11", "H1_1");
  Security security(upload.rawSessionID, kLeadID, kProperty, kAccount);
  const fs::path work = root_ / "work";

  // The small archive of an honest upload, with every declared size of "data" patched to 2 GiB.
  std::string declaresTooMuch = buildZip(work, upload.id, security.key(), security.ivK(), "[]", {});
  for (const auto& [signature, sizeOffset] :
       std::vector<std::pair<std::string, std::size_t>>{{std::string("PK\x03\x04", 4), 22}, {std::string("PK\x01\x02", 4), 24}}) {
    for (std::size_t at = declaresTooMuch.find(signature); at != std::string::npos;
         at = declaresTooMuch.find(signature, at + 4)) {
      const std::size_t nameLength = static_cast<unsigned char>(declaresTooMuch[at + (signature[2] == 3 ? 26 : 28)]);
      const std::size_t nameAt = at + (signature[2] == 3 ? 30 : 46);
      if (declaresTooMuch.compare(nameAt, nameLength, upload.id + "_zip/raw/data") != 0) continue;
      declaresTooMuch.replace(at + sizeOffset, 4, std::string("\x00\x00\x00\x80", 4));
    }
  }

  const fs::path bomb = work / "bomb" / (upload.id + "_zip") / "raw" / "1";
  fs::create_directories(bomb.parent_path());
  writeBytes(bomb.parent_path() / "data", *AES::make(security.key(), security.ivK())->encrypt("[]"));
  std::ofstream(bomb, std::ios::binary) << std::string(UploadDecoder::kMaxEntrySize + 1, '\0');
  ASSERT_FALSE(platform::zipFolder(work / "bomb" / (upload.id + "_zip"), work / "bomb.zip").has_value());
  const std::string inflatesTooFar = readBytes(work / "bomb.zip");
  fs::remove_all(work / "bomb");

  const std::string deep = std::string(300000, '[') + std::string(300000, ']');
  const std::string nested = buildZip(work, upload.id, security.key(), security.ivK(), deep, {});

  struct Case {
    const char* what;
    std::string body;
    std::string reason;
  };
  const std::vector<Case> cases = {
      {"2 GiB declared", declaresTooMuch, "declares 2147483648 bytes"},
      {"deflate bomb", inflatesTooFar, "declares 67108865 bytes"},
      {"deep nesting", nested, "deciphers into JSON nested deeper than 128 levels"},
  };
  EXPECT_LT(declaresTooMuch.size(), 1024u);
  EXPECT_LT(inflatesTooFar.size(), 1024u * 1024u);
  for (const Case& c : cases) {
    clearLog();
    auto answer = post(collector, uploadPath(upload), c.body);
    ASSERT_TRUE(answer) << c.what;
    EXPECT_EQ(answer->status, 400) << c.what;
    EXPECT_TRUE(logContains(c.reason)) << c.what << ": no log line says " << c.reason;
  }
  EXPECT_EQ(post(collector, uploadPath(upload), zipOf(upload))->status, 200);
}

// A re-sent asset is answered 200 and stored once, also by a collector started again on the same
// folder, which numbers on from the last screen: the next asset of the session becomes 002.
TEST_F(CollectorTest, DuplicateUploadIsStoredOnceAcrossARestart) {
  const Upload first = checkoutUpload("6BA7B810-9DAD-11D1-80B4-00C04FD430C855", "S1_1");
  const Upload second = checkoutUpload("6BA7B810-9DAD-11D1-80B4-00C04FD430C855", "S2_2");
  const std::string zip = zipOf(first);
  Collector& collector = start(options());
  EXPECT_EQ(post(collector, uploadPath(first), zip)->status, 200);
  EXPECT_EQ(post(collector, uploadPath(first), zip)->status, 200);
  EXPECT_EQ(collector.statistics().accepted, 1u);
  EXPECT_EQ(collector.statistics().duplicates, 1u);
  EXPECT_EQ(collector.screens().size(), 1u);
  collector.stop();

  Collector& restarted = start(options());
  EXPECT_EQ(post(restarted, uploadPath(first), zip)->status, 200);
  EXPECT_EQ(post(restarted, uploadPath(second), zipOf(second))->status, 200);
  const fs::path session = root_ / "data" / cleaned(first.rawSessionID);
  std::vector<std::string> folders;
  for (const auto& entry : fs::directory_iterator(session)) {
    if (entry.is_directory()) folders.push_back(entry.path().filename().string());
  }
  std::sort(folders.begin(), folders.end());
  EXPECT_EQ(folders, (std::vector<std::string>{"001_" + first.cScreenID, "002_" + second.cScreenID}));
  EXPECT_TRUE(fs::exists(session / ("002_" + second.cScreenID) / "events.json"));
  EXPECT_EQ(restarted.statistics().accepted, 1u);
  EXPECT_EQ(restarted.statistics().duplicates, 1u);
}

// A forced status answers every upload and keeps nothing; "fail first N" fails exactly N uploads.
TEST_F(CollectorTest, FailureOptionsAnswerAsConfigured) {
  const Upload upload = checkoutUpload("C56A4180-65AA-42EC-A945-5FD21DEC011055", "F1_1");
  const std::string zip = zipOf(upload);

  auto forced = options();
  forced.forcedStatus = 401;
  Collector& forcedCollector = start(forced);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(post(forcedCollector, uploadPath(upload), zip)->status, 401);
  EXPECT_FALSE(fs::exists(root_ / "data" / cleaned(upload.rawSessionID)));
  forcedCollector.setForcedStatus(std::nullopt);
  EXPECT_EQ(post(forcedCollector, uploadPath(upload), zip)->status, 200);
  forcedCollector.stop();

  auto firstTwo = options();
  firstTwo.dataDirectory = root_ / "data2";
  firstTwo.failFirst = 2;
  firstTwo.failStatus = 500;
  Collector& failing = start(firstTwo);
  std::vector<int> statuses;
  for (int i = 0; i < 4; ++i) statuses.push_back(post(failing, uploadPath(upload), zip)->status);
  EXPECT_EQ(statuses, (std::vector<int>{500, 500, 200, 200}));
  EXPECT_EQ(failing.statistics().failedOnPurpose, 2u);
  EXPECT_EQ(failing.statistics().accepted, 1u);
  EXPECT_EQ(failing.statistics().duplicates, 1u);
  failing.stop();

  // A share of failures follows its seed: the same seed fails the same uploads, shares 0 and 1 fail
  // none and all.
  auto run = [&](double share, std::uint64_t seed, int n) {
    auto shared = options();
    shared.dataDirectory = root_ / ("data-" + std::to_string(n));
    shared.failShare = share;
    shared.seed = seed;
    Collector& collector = start(shared);
    std::vector<int> statuses;
    for (int i = 0; i < 12; ++i) statuses.push_back(post(collector, uploadPath(upload), zip)->status);
    collector.stop();
    return statuses;
  };
  const auto half = run(0.5, 42, 1);
  EXPECT_EQ(run(0.5, 42, 2), half);
  EXPECT_NE(std::count(half.begin(), half.end(), 503), 0);
  EXPECT_NE(std::count(half.begin(), half.end(), 200), 0);
  EXPECT_EQ(run(0.0, 42, 3), std::vector<int>(12, 200));
  EXPECT_EQ(run(1.0, 42, 4), std::vector<int>(12, 503));
}

// The session's replay page lists each screen's frames with their paths and durations, carries its
// own script, and loads nothing from elsewhere.
TEST_F(CollectorTest, ReplayPageNamesTheFrames) {
  Collector& collector = start(options());
  Upload first = checkoutUpload("E4EAAAF2-D142-11E1-B3E4-080027620CDD77", "P1_1");
  Upload second = checkoutUpload("E4EAAAF2-D142-11E1-B3E4-080027620CDD77", "P2_2");
  second.cScreenID = "7d793037a0760186574b0282f2f435e7";
  second.body = screenBody(second.rawSessionID, "Receipt <done>");
  ASSERT_EQ(post(collector, uploadPath(first), zipOf(first))->status, 200);
  ASSERT_EQ(post(collector, uploadPath(second), zipOf(second))->status, 200);

  const std::string page = readBytes(root_ / "data" / cleaned(first.rawSessionID) / "index.html");
  for (const std::string& expected : std::vector<std::string>{
           "001_" + first.cScreenID + "/0.jpg", "001_" + first.cScreenID + "/1.jpg (frame1.jpg), 500 ms",
        "002_" + second.cScreenID + "/1.jpg", "Checkout", "Receipt &lt;done&gt;", "1 touch at (10, 20)",
        "<script>"}) {
    EXPECT_NE(page.find(expected), std::string::npos) << "page lacks " << expected;
  }
  EXPECT_EQ(page.find("Receipt <done>"), std::string::npos) << "names are escaped";
  EXPECT_EQ(page.find("http://"), std::string::npos);
  EXPECT_EQ(page.find("https://"), std::string::npos);
  EXPECT_LT(page.find("001_"), page.find("002_"));

  // The running collector serves the page too.
  auto served = get(collector, "/replay/" + cleaned(first.rawSessionID) + "/index.html");
  ASSERT_TRUE(served);
  EXPECT_EQ(served->status, 200);
  EXPECT_EQ(served->body, page);
}

// Unknown paths get 404 and one log line each; the statistics count requests by path and status.
TEST_F(CollectorTest, UnknownPathsAnswer404) {
  Collector& collector = start(options());
  EXPECT_EQ(get(collector, "/nothing/here")->status, 404);
  EXPECT_EQ(get(collector, "/i/acme/app.session")->status, 404);
  EXPECT_EQ(post(collector, "/upload", "x")->status, 404);
  EXPECT_EQ(collector.requestCount("/nothing/here", 404), 1u);
  EXPECT_EQ(collector.requestCount("/upload", 404), 1u);
  EXPECT_TRUE(logContains("GET /nothing/here 404"));
  EXPECT_TRUE(logContains("POST /upload 404 in 1 B"));
  EXPECT_EQ(collector.statistics().bytesReceived, 1u);
}

// A port that is taken, or missing options, make start() fail with a reason in the log.
TEST_F(CollectorTest, StartFailsWithAReason) {
  Collector& first = start(options());
  auto taken = options();
  taken.port = first.port();
  Collector second(taken);
  EXPECT_FALSE(second.start());
  EXPECT_TRUE(logContains("cannot listen on 127.0.0.1:" + std::to_string(first.port())));

  auto noAccount = options();
  noAccount.accounts.clear();
  EXPECT_FALSE(Collector(noAccount).start());
  EXPECT_TRUE(logContains("no account given"));
}

}  // namespace
}  // namespace obx::collector
