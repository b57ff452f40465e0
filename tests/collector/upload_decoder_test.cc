#include "collector/upload_decoder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "collector/replay_page.h"
#include "platform/zip/zip_archive.h"
#include "store/files/aes.h"
#include "store/files/security.h"
#include "../store/store_test_support.h"

namespace obx::collector {
namespace {

namespace fs = std::filesystem;

// A cleaned 34-character session ID gets its UUID dashes back; other lengths are tried as they are.
TEST(UploadDecoderTest, RawSessionIDCandidates) {
  EXPECT_EQ(UploadDecoder::rawSessionIDCandidates("0F8FAD5BD9CB469FA16570867728950E42"),
            (std::vector<std::string>{"0F8FAD5BD9CB469FA16570867728950E42", "0F8FAD5B-D9CB-469F-A165-70867728950E42"}));
  EXPECT_EQ(UploadDecoder::rawSessionIDCandidates("SHORT"), std::vector<std::string>{"SHORT"});
}

// Trying a wrong account first finds the right one, and leaves the process-wide key table of the
// SDK untouched: the SDK built afterwards in the same process still gets its own key.
TEST(UploadDecoderTest, WrongAccountTriedFirstDoesNotPoisonTheKeyTable) {
  const fs::path work = fs::temp_directory_path() / ("obx-decoder-test-" + std::to_string(::getpid()));
  fs::remove_all(work);
  const std::string rawSessionID = "7C9E6679-7425-40DE-944B-E07FC1F90AE712";
  const std::string lead = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  // Key of (session, lead, "prop-1", "acme") from md5sum, so that nothing here fills the table.
  auto aes = AES::make("6b13fe5a3a268aaf", "93904a7bdfc84478");
  ASSERT_TRUE(aes);
  testing::writeBytes(work / "K1_zip" / "raw" / "data", *aes->encrypt(R"([{"t":"aE","o":0,"d":""}])"));
  ASSERT_FALSE(platform::zipFolder(work / "K1_zip", work / "K1.zip"));
  const std::string zip = testing::readBytes(work / "K1.zip");

  UploadQuery query;
  query.property = "prop-1";
  query.cScreenID = "k";
  query.sessionID = "7C9E6679742540DE944BE07FC1F90AE712";
  query.leadID = lead;
  query.asset = "K1.zip";
  std::string error;
  auto decoded = UploadDecoder({"other", "acme"}).decode(query, zip, &error);
  ASSERT_TRUE(decoded) << error;
  EXPECT_EQ(decoded->account, "acme");

  Security sdk(rawSessionID, lead, "prop-1", "acme");
  EXPECT_EQ(sdk.key(), "6b13fe5a3a268aaf");
  EXPECT_EQ(sdk.ivK(), "93904a7bdfc84478");
  fs::remove_all(work);
}

// Query parameters: all of them read; a missing or malformed one refused with its name.
TEST(UploadDecoderTest, QueryParameters) {
  const std::multimap<std::string, std::string> full = {
      {"type", "zip"}, {"wid", "p"}, {"sk", "k"},    {"sid", "S"},   {"lid", "L"},
      {"passed", "1"}, {"asset", "A_1.zip"}, {"dnt", "1"}, {"jspsf", "1"}};
  std::string error;
  auto query = UploadQuery::fromParameters(full, &error);
  ASSERT_TRUE(query) << error;
  EXPECT_EQ(query->assetID(), "A_1");
  EXPECT_EQ(query->passed, 1);
  EXPECT_EQ(query->dnt, 1);
  EXPECT_EQ(query->jspsf, true);

  struct Case {
    const char* key;
    const char* value;  // nullptr removes the parameter
    const char* reason;
  };
  for (const Case& c : {Case{"type", "json", "\"type\" must be \"zip\""}, Case{"wid", nullptr, "\"wid\" is missing"},
                        Case{"passed", "one", "\"passed\" is missing or not an integer"},
                        Case{"asset", "A_1.tar", "is not \"<id>.zip\""}, Case{"asset", ".zip", "is not \"<id>.zip\""},
                        Case{"sk", "a/b", "characters a folder name can't have"},
                        Case{"jspsf", "yes", "\"jspsf\" is not 0 or 1"}}) {
    auto parameters = full;
    parameters.erase(c.key);
    if (c.value) parameters.emplace(c.key, c.value);
    error.clear();
    EXPECT_FALSE(UploadQuery::fromParameters(parameters, &error)) << c.key;
    EXPECT_NE(error.find(c.reason), std::string::npos) << c.key << ": " << error;
  }
}

// Timeline summaries of the common events, and the fallback for others.
TEST(ReplayPageTest, Summaries) {
  struct Case {
    const char* event;
    const char* summary;
  };
  for (const Case& c : {
           Case{R"({"t":"tE","o":1,"d":[{"x":3,"y":4},{"x":5,"y":6}]})", "2 touches at (3, 4)"},
           Case{R"({"t":"screen","o":0,"d":{"sN":"Home","sI":2,"sT":0,"o":"portrait"}})",
                "screen \"Home\" #2, portrait"},
           Case{R"({"t":"goal","o":0,"d":{"conid":"buy","conc":"EUR","conv":9.5}})", "goal \"buy\" 9.5 EUR"},
           Case{R"({"t":"network","o":0,"d":{"method":"GET","host":"api.test","code":404,"duration":12}})",
                "GET api.test → 404 in 12 ms"},
           Case{R"({"t":"aE","o":0,"d":""})", "application end"},
           Case{R"({"t":"form-meta","o":0,"d":{"h":"Pay","e":[{"t":"text","s":"card","ti":"card"},{"t":"button","s":"button1","ti":"button1"}]}})",
                "form \"Pay\": text card, button button1"},
           Case{R"({"t":"form-view","o":0,"d":{"offset":2000,"h":"Pay","er":1}})", "form \"Pay\" failed"},
           Case{R"({"t":"form-view","o":0,"d":{"su":1,"offset":3000,"h":"Pay","igEr":1}})", "form \"Pay\" submitted"},
           Case{R"({"t":"field-view","o":0,"d":{"offset":2000,"fh":"Pay","s":"card","erStr":"Declined","er":1}})",
                "field card in error: Declined"},
           Case{R"({"t":"field-view","o":0,"d":{"offset":1000,"in":1,"fh":"Pay","co":1,"ti":2500,"de":500,"ch":1,"s":"card"}})",
                "field card completed changed, 2500 ms interacting"},
           Case{R"({"t":"weightedSampling","o":0,"d":{"sampling":"in"}})", R"({"sampling":"in"})"},
       }) {
    EXPECT_EQ(ReplayPage::summary(Json::parse(c.event)), c.summary) << c.event;
  }
}

}  // namespace
}  // namespace obx::collector
