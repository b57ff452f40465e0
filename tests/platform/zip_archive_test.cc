#include "platform/zip/zip_archive.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "testing/run_command.h"

namespace obx::platform {
namespace {

using testing::runCommand;

namespace fs = std::filesystem;

Data randomBytes(std::size_t size, unsigned seed) {
  Data bytes(size);
  unsigned state = seed;
  for (auto& byte : bytes) {
    state = state * 1103515245u + 12345u;
    byte = static_cast<std::uint8_t>(state >> 16);
  }
  return bytes;
}

// JSON-like text, which deflates well.
Data textBytes(std::size_t size) {
  const std::string line = "{\"type\":\"touchBegan\",\"offset\":1250,\"x\":120,\"y\":640},\n";
  Data bytes;
  while (bytes.size() < size) bytes.insert(bytes.end(), line.begin(), line.end());
  bytes.resize(size);
  return bytes;
}

void writeFile(const fs::path& path, const Data& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Data readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Data(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class ZipArchiveTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = fs::temp_directory_path() / ("obx-zip-test-" + std::to_string(::getpid()));
    fs::remove_all(root_);
    folder_ = root_ / "S1_20260101120000_zip";
    fs::create_directories(folder_ / "raw");
    files_ = {
        {"S1_20260101120000_zip/raw/data", randomBytes(48 * 1024 + 5, 1)},
        {"S1_20260101120000_zip/raw/0", randomBytes(9000, 2)},
        {"S1_20260101120000_zip/raw/10", randomBytes(3, 3)},
        {"S1_20260101120000_zip/raw/empty", Data{}},
        {"S1_20260101120000_zip/raw/notes", textBytes(20000)},
    };
    for (const auto& [name, bytes] : files_) writeFile(root_ / name, bytes);
  }
  void TearDown() override { fs::remove_all(root_); }

  fs::path root_;
  fs::path folder_;
  std::map<std::string, Data> files_;
};

// A folder zipped and read back gives the folder as root, its subfolder, and every file with
// the same bytes, from a file and from memory alike; a trailing separator names the same folder. A
// missing folder fails and leaves no archive; bytes that are no ZIP read as nothing, with a reason.
TEST_F(ZipArchiveTest, RoundTripWithTheFolderAsRootAndFailures) {
  const fs::path archive = root_ / "S1.zip";
  auto error = zipFolder(folder_, archive);
  ASSERT_FALSE(error) << error->description;

  std::string readError;
  auto fromFile = readZipFile(archive, &readError);
  ASSERT_TRUE(fromFile) << readError;
  auto fromMemory = readZip(readFile(archive), &readError);
  ASSERT_TRUE(fromMemory) << readError;

  for (const auto* entries : {&*fromFile, &*fromMemory}) {
    std::map<std::string, Data> contents;
    std::vector<std::string> directories;
    for (const auto& entry : *entries) {
      if (entry.isDirectory()) {
        directories.push_back(entry.name);
      } else {
        contents[entry.name] = entry.bytes;
      }
    }
    EXPECT_EQ(directories, (std::vector<std::string>{"S1_20260101120000_zip/", "S1_20260101120000_zip/raw/"}));
    EXPECT_EQ(contents, files_);
  }

  ASSERT_FALSE(zipFolder(folder_.string() + "/", root_ / "slash.zip"));
  auto slashed = readZipFile(root_ / "slash.zip");
  ASSERT_TRUE(slashed);
  EXPECT_EQ(slashed->front().name, "S1_20260101120000_zip/");
  const fs::path missing = root_ / "missing.zip";
  EXPECT_TRUE(zipFolder(root_ / "no-such-folder", missing));
  EXPECT_FALSE(fs::exists(missing));
  EXPECT_FALSE(readZip(Data{'n', 'o', 't', ' ', 'a', ' ', 'z', 'i', 'p'}, &readError));
  EXPECT_FALSE(readError.empty());
  EXPECT_FALSE(readZipFile(root_ / "absent.zip"));
}

// The archive is a plain ZIP that the unzip tool lists and tests without complaint, root first.
TEST_F(ZipArchiveTest, UnzipToolReadsIt) {
  if (runCommand("command -v unzip").empty()) GTEST_SKIP() << "unzip is not installed";
  const fs::path archive = root_ / "S1.zip";
  ASSERT_FALSE(zipFolder(folder_, archive));
  const std::string names = runCommand("unzip -Z1 '" + archive.string() + "'");
  std::istringstream lines(names);
  std::string first;
  std::getline(lines, first);
  EXPECT_EQ(first, "S1_20260101120000_zip/");
  EXPECT_NE(names.find("S1_20260101120000_zip/raw/data\n"), std::string::npos);
  EXPECT_NE(runCommand("unzip -t '" + archive.string() + "'").find("No errors detected"), std::string::npos);
  const std::string extracted = runCommand("unzip -p '" + archive.string() + "' S1_20260101120000_zip/raw/0");
  EXPECT_EQ(Data(extracted.begin(), extracted.end()), files_["S1_20260101120000_zip/raw/0"]);
}

// Bytes that look random (ciphertext) are stored and text is deflated, and another reader takes
// both: Python's zipfile checks every entry's CRC and reports the methods. The archive made from
// the same files in memory has the entries, bytes and methods of the folder's.
TEST_F(ZipArchiveTest, RandomBytesAreStoredAndTextDeflated) {
  if (runCommand("command -v python3").empty()) GTEST_SKIP() << "python3 is not installed";
  const fs::path fromFolder = root_ / "S1.zip";
  ASSERT_FALSE(zipFolder(folder_, fromFolder));
  std::vector<ZipSource> sources;
  for (const auto& [name, bytes] : files_) sources.push_back({name, std::string(bytes.begin(), bytes.end())});
  std::string error;
  const auto inMemory = zipFiles(std::move(sources), &error);
  ASSERT_TRUE(inMemory) << error;
  const fs::path fromMemory = root_ / "memory.zip";
  writeFile(fromMemory, *inMemory);

  auto report = [](const fs::path& archive) {
    return runCommand(
        "python3 -c 'import sys, zipfile\n"
        "z = zipfile.ZipFile(sys.argv[1])\n"
        "print(\"bad:\", z.testzip())\n"
        "for i in z.infolist(): print(i.filename, i.compress_type)' '" + archive.string() + "'");
  };
  const std::string folderReport = report(fromFolder);
  const std::map<std::string, int> expected = {
      {"S1_20260101120000_zip/raw/data", 0},   // 48 KiB of random bytes: stored
      {"S1_20260101120000_zip/raw/0", 0},      // 9000 random bytes: stored
      {"S1_20260101120000_zip/raw/notes", 8},  // text: deflated
  };
  EXPECT_NE(folderReport.find("bad: None\n"), std::string::npos) << folderReport;
  for (const auto& [name, method] : expected) {
    EXPECT_NE(folderReport.find(name + " " + std::to_string(method) + "\n"), std::string::npos)
        << name << "\n" << folderReport;
  }
  EXPECT_EQ(report(fromMemory), folderReport);
  auto names = [](const std::optional<std::vector<ZipEntry>>& entries) {
    std::vector<std::pair<std::string, Data>> out;
    if (entries) {
      for (const auto& entry : *entries) out.emplace_back(entry.name, entry.bytes);
    }
    return out;
  };
  EXPECT_EQ(names(readZipFile(fromMemory)), names(readZipFile(fromFolder)));
}

}  // namespace
}  // namespace obx::platform
