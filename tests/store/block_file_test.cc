#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "testing/log_capture.h"
#include "platform/crypto/crypto.h"
#include "platform/dispatch/dispatch_queue.h"
#include "platform/dispatch/real_scheduler.h"
#include "store/directory.h"
#include "store/files/aes.h"
#include "store/files/block_reader.h"
#include "store/files/file_reader.h"
#include "store/files/file_writer.h"
#include "store/files/security.h"
#include "store_test_support.h"

namespace obx {
namespace {

using testing::fromHex;
using testing::readBytes;
using testing::writeBytes;

class BlockFileTest : public ::testing::Test {
 protected:
  BlockFileTest() {
    directory_.url = sandbox_.path() / "blocks";
    std::filesystem::create_directories(directory_.url);
  }

  std::filesystem::path path() const { return directory_.url / "file"; }

  testing::TemporarySandbox sandbox_;
  testing::LogCapture logs_;
  std::shared_ptr<Security> security_ = std::make_shared<Security>();
  FileWriter writer_{security_};
  FileReader reader_{security_};
  Directory directory_;
};

// Records hold a little-endian length and the ciphertext `openssl enc -aes-128-cbc` gives with the
// at-rest key 54657373657261234c4f434b23233731 and vector 697654657373657261234c434b233731. The JSON
// case is written as a value: encoded compact, slashes unescaped, then enciphered.
TEST_F(BlockFileTest, RecordsMatchOpenSSLBytes) {
  struct Case {
    std::string plain;
    std::string recordHex;
  };
  const std::vector<Case> cases = {
      {"", "10000000" "1056b3d2234204059495b39e75576fdc"},
      {"abc", "10000000" "a7eae153c92d1fa00f60c121fca986a5"},
      {"0123456789abcdef", "20000000" "99508c1252abd4900d0de12d785ffce4fcb72c2ce2d6b83905eb9b0d45b011c4"},
      {R"({"t":"aE","o":-250,"d":"https://a.b/c"})",
       "30000000" "06139ee6b2861042ad7027e536acd9c6244ba879f232837ac247c1fcca21e0a455d0d7bef343a05d16a5ae4590137473"},
  };
  std::string expectedFile;
  for (const auto& c : cases) {
    const auto value = c.plain.starts_with("{") ? WriteValue::json(parseJSON(c.plain)) : WriteValue::bytes(c.plain);
    ASSERT_FALSE(writer_.appendNow(value, directory_, "file").has_value());
    expectedFile += fromHex(c.recordHex);
    // Appending never changes what was there.
    EXPECT_EQ(platform::hexString(readBytes(path())), platform::hexString(expectedFile)) << c.plain;
  }
  auto blocks = reader_.read(directory_, "file");
  ASSERT_TRUE(blocks.has_value());
  ASSERT_EQ(blocks->size(), cases.size());
  for (std::size_t i = 0; i < cases.size(); ++i) EXPECT_EQ((*blocks)[i], cases[i].plain);
}

// An empty file reads as no blocks and stays; a missing file reads as nothing, silently.
TEST_F(BlockFileTest, EmptyAndMissingFiles) {
  writeBytes(path(), "");
  auto blocks = reader_.read(directory_, "file");
  ASSERT_TRUE(blocks.has_value());
  EXPECT_TRUE(blocks->empty());
  EXPECT_TRUE(std::filesystem::exists(path()));

  EXPECT_FALSE(reader_.read(directory_, "absent").has_value());
  EXPECT_TRUE(logs_.messages().empty());
}

// Writing from the start replaces the first bytes and leaves the tail; the first block reads back.
TEST_F(BlockFileTest, WriteFromStartKeepsTail) {
  writer_.appendNow(WriteValue::bytes(std::string(40, 'a')), directory_, "file");
  const std::string before = readBytes(path());
  ASSERT_EQ(before.size(), 4u + 48u);
  std::optional<FileError> outcome = FileError{"not called"};
  writer_.writeFromStart(WriteValue::bytes("short"), directory_, "file",
                         [&](const std::optional<FileError>& error) { outcome = error; });
  EXPECT_FALSE(outcome.has_value());
  const std::string after = readBytes(path());
  ASSERT_EQ(after.size(), before.size());
  EXPECT_EQ(after.substr(0, 4), fromHex("10000000"));
  EXPECT_EQ(after.substr(20), before.substr(20));
  EXPECT_EQ(reader_.readFirst(directory_, "file"), "short");
}

// Two threads appending to one file at once (the crash path's immediate write beside the queued
// writes) leave every block whole: the reader finds all of them and deletes nothing.
TEST_F(BlockFileTest, ConcurrentAppendsKeepEveryBlock) {
  constexpr int kPerWriter = 3000;
  auto scheduler = std::make_shared<platform::RealScheduler>();
  std::atomic<int> finished{0};
  std::atomic<int> failures{0};
  for (const char* name : {"a", "b"}) {
    auto queue = platform::DispatchQueue::makeSerial(scheduler, std::string("test.writer.") + name);
    queue->async([&, name] {
      for (int i = 0; i < kPerWriter; ++i) {
        if (writer_.appendNow(WriteValue::bytes(std::string(name) + "-" + std::to_string(i)), directory_, "file")) {
          ++failures;
        }
      }
      ++finished;
    });
  }
  ASSERT_TRUE(scheduler->runMainLoop([&] { return finished.load() == 2; }, 60.0));
  EXPECT_EQ(failures.load(), 0);

  auto blocks = reader_.read(directory_, "file");
  ASSERT_TRUE(blocks.has_value());
  std::set<std::string> found(blocks->begin(), blocks->end());
  EXPECT_EQ(blocks->size(), 2u * kPerWriter);
  for (const char* name : {"a", "b"}) {
    for (int i = 0; i < kPerWriter; ++i) EXPECT_TRUE(found.count(std::string(name) + "-" + std::to_string(i))) << name << i;
  }
  EXPECT_TRUE(std::filesystem::exists(path()));
}

// Limits: a ciphertext of exactly 25 MiB is written, one block more is refused and nothing is
// written; on reading, a prefix of 26214400 passes and 26214401 is refused and the file deleted.
TEST_F(BlockFileTest, BlockLengthLimit) {
  ASSERT_FALSE(writer_.appendNow(WriteValue::bytes(std::string(kMaxBlockLength - 1, 'z')), directory_, "big"));
  EXPECT_EQ(std::filesystem::file_size(directory_.url / "big"), 4u + kMaxBlockLength);
  EXPECT_EQ(readBytes(directory_.url / "big").substr(0, 4), fromHex("00009001"));
  auto refused = writer_.appendNow(WriteValue::bytes(std::string(kMaxBlockLength, 'z')), directory_, "bigger");
  ASSERT_TRUE(refused.has_value());
  EXPECT_EQ(refused->description, "Data length exceeds limit");
  EXPECT_FALSE(std::filesystem::exists(directory_.url / "bigger"));

  // The block reader alone: the largest prefix is accepted.
  writeBytes(path(), fromHex("00009001") + std::string(kMaxBlockLength, '\x01'));
  {
    platform::InputStream stream(path());
    ASSERT_TRUE(stream.open());
    BlockReader blockReader(stream);
    auto blocks = blockReader.readAllBlocks();
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(blocks[0].ciphertext().size(), kMaxBlockLength);
  }
  writeBytes(path(), fromHex("01009001") + std::string(kMaxBlockLength + 1, '\x01'));
  EXPECT_FALSE(reader_.read(directory_, "file").has_value());
  EXPECT_FALSE(std::filesystem::exists(path()));
  EXPECT_TRUE(logs_.contains("Error convert file events encrypted to EventFile Data length exceeds limit",
                             LogLevel::developer));
  EXPECT_TRUE(logs_.contains("Error read file Data length exceeds limit", LogLevel::developer));
}

// A damaged file is given up whole, good blocks included, with the error in both log lines.
TEST_F(BlockFileTest, DamagedFilesAreDeleted) {
  writer_.appendNow(WriteValue::bytes("first"), directory_, "file");
  const std::string good = readBytes(path());  // 4 + 16 bytes
  std::string badPadding = good;
  badPadding.back() = static_cast<char>(badPadding.back() ^ 0x01);
  struct Case {
    const char* name;
    std::string bytes;
    std::string error;
  };
  const std::vector<Case> cases = {
      {"cut inside the prefix", good + good.substr(0, 2), "Invalid Sequence"},
      {"cut inside the ciphertext", good + good.substr(0, 10), "Invalid Sequence"},
      {"prefix without ciphertext", good + good.substr(0, 4), "Invalid Sequence"},
      {"bad padding", good + badPadding, "Error decrypt"},
      {"ciphertext not a multiple of 16", good + fromHex("03000000") + "abc", "Error decrypt"},
      {"zero length", good + fromHex("00000000"), "Error decrypt"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    logs_.clear();
    writeBytes(path(), c.bytes);
    EXPECT_FALSE(reader_.read(directory_, "file").has_value());
    EXPECT_FALSE(std::filesystem::exists(path()));
    EXPECT_EQ(logs_.messages(), (std::vector<std::string>{"Error convert file events encrypted to EventFile " + c.error,
                                                          "Error read file " + c.error}));
  }
}

// A file written with another key doesn't decrypt with the at-rest key, and is deleted.
TEST_F(BlockFileTest, WrongKeyIsDecryptError) {
  auto sessionSecurity = std::make_shared<Security>("session-wrong-key", "lead-12345678", "prop", "account");
  FileWriter sessionWriter(sessionSecurity);
  sessionWriter.appendNow(WriteValue::bytes(std::string(100, 'q')), directory_, "file");
  FileReader sessionReader(sessionSecurity);
  EXPECT_EQ(sessionReader.read(directory_, "file")->at(0), std::string(100, 'q'));
  EXPECT_FALSE(reader_.read(directory_, "file").has_value());
  EXPECT_TRUE(logs_.contains("Error read file Error decrypt"));
}

// AES takes keys of 16 or 32 characters and vectors of exactly 16; the same plain block gives
// the same ciphertext every time.
TEST(AESTest, KeyRulesAndDeterminism) {
  EXPECT_TRUE(AES::make(std::string(16, 'k'), std::string(16, 'v')).has_value());
  EXPECT_TRUE(AES::make(std::string(32, 'k'), std::string(16, 'v')).has_value());
  EXPECT_FALSE(AES::make(std::string(24, 'k'), std::string(16, 'v')).has_value());
  EXPECT_FALSE(AES::make(std::string(15, 'k'), std::string(16, 'v')).has_value());
  EXPECT_FALSE(AES::make(std::string(16, 'k'), std::string(17, 'v')).has_value());
  EXPECT_FALSE(AES::make("", "").has_value());
  auto aes = AES::make(Security::kAtRestKey, Security::kAtRestIV);
  ASSERT_TRUE(aes.has_value());
  EXPECT_EQ(aes->encrypt("same block"), aes->encrypt("same block"));
  EXPECT_EQ(aes->encrypt(std::string(16, 'a'))->size(), 32u);
  EXPECT_EQ(aes->decrypt(*aes->encrypt("x")), "x");
}

// A 16-character key of non-ASCII text passes AES's rule but is no AES key: the write fails with "Error crypt".
TEST(AESTest, NonAsciiKeyIsCryptError) {
  struct Texts : SecurityManager {
    std::string k = "aaaaaaaaaaaaaaa\xc3\xa9", v = "ivTessera#LCK#71";  // 16 characters, 17 bytes
    const std::string& key() const override { return k; }
    const std::string& ivK() const override { return v; }
  };
  FileWriter writer(std::make_shared<Texts>());
  try {
    writer.record("x");
    ADD_FAILURE() << "recorded";
  } catch (const FileError& error) {
    EXPECT_EQ(error.description, "Error crypt");
  }
}

// The at-rest texts, and the per-session pieces with their "x"s, against MD5 from `openssl dgst`.
TEST(SecurityTest, KeysAndPieces) {
  Security atRest;
  EXPECT_EQ(atRest.key(), "Tessera#LOCK##71");
  EXPECT_EQ(atRest.ivK(), "ivTessera#LCK#71");

  struct Piece {
    std::string text;
    std::size_t lower, upper;
    std::string expected;
  };
  const std::vector<Piece> pieces = {
      {"abcde", 5, 13, "xxxxxxxx"},
      {"abc", 5, 13, "xxxxxxxxxx"},
      {"0123456789ABCDEF", 5, 13, "56789ABC"},
      {"0123456789", 5, 13, "56789xxx"},
      {"WX", 1, 4, "Xxx"},
      {"", 2, 6, "xxxxxx"},
      {"ééééé", 1, 4, "ééé"},
  };
  for (const auto& p : pieces) EXPECT_EQ(Security::keyPiece(p.text, p.lower, p.upper), p.expected) << p.text;

  struct Session {
    std::string sessionID, leadID, property, account, digest;
  };
  const std::vector<Session> sessions = {
      // MD5("01234567xxxxxxxxxxXxxct-x")
      {"0123456789AB", "abc", "WX", "acct-xyz", "80c2ada87fbb795fa6fb798c09c15af0"},
      // MD5("s1" + 23 times "x")
      {"s1", "abcde", "p", "", "70b96b69fe7ca87d0a33a576d0f18275"},
      // MD5("ABCDEFGH56789ABCROPCOUN")
      {"ABCDEFGHIJ", "0123456789ABCDEF", "PROP", "ACCOUNT", "4a2ee469d96d7f8b67d97be6d07ae9e6"},
  };
  for (const auto& s : sessions) {
    Security security(s.sessionID, s.leadID, s.property, s.account);
    EXPECT_EQ(security.key(), s.digest.substr(0, 16));
    EXPECT_EQ(security.ivK(), s.digest.substr(16));
    // The digest is kept for the process: later values for that session don't change it.
    Security later(s.sessionID, "another lead", "other", "other");
    EXPECT_EQ(later.key(), security.key());
    EXPECT_EQ(later.ivK(), security.ivK());
  }
}

}  // namespace
}  // namespace obx
