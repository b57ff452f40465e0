#include "store/files/file_reader.h"

#include "base/logger.h"
#include "platform/files/file_manager.h"
#include "store/files/aes.h"
#include "store/files/block_reader.h"
#include "store/files/file_error.h"

namespace obx {

FileReader::FileReader(std::shared_ptr<const SecurityManager> security,
                       std::shared_ptr<const FileReaderController> fileController)
    : fileController_(std::move(fileController)), security_(std::move(security)) {}

std::optional<std::vector<std::string>> FileReader::readBlocks(const std::filesystem::path& path,
                                                               bool firstOnly) const {
  auto file = fileController_->fileForReading(path);
  if (!file) return std::nullopt;

  auto stream = file->inputStream();
  if (!stream->open()) throw FileError{"Fail to read from file " + path.string()};
  BlockReader blockReader(*stream, kMaxBlockLength);
  std::vector<BlockInFile> blocks;
  if (firstOnly) {
    try {
      blocks.push_back(blockReader.readBlock());
    } catch (const EndOfStreamError&) {
    }
  } else {
    blocks = blockReader.readAllBlocks();
  }
  stream->close();

  std::vector<std::string> plain;
  plain.reserve(blocks.size());
  for (const auto& block : blocks) {
    auto aes = AES::make(security_->key(), security_->ivK());
    if (!aes) throw FileError{"Error decrypt"};
    auto decrypted = aes->decrypt(block.ciphertext());
    if (!decrypted) throw FileError{"Error decrypt"};
    plain.push_back(std::move(*decrypted));
  }
  return plain;
}

template <typename Read>
auto FileReader::readOrGiveUp(const std::filesystem::path& path, Read&& read) -> decltype(read()) {
  try {
    return read();
  } catch (const FileError& error) {
    Logger::log("Error convert file events encrypted to EventFile " + error.description, LogLevel::developer);
    platform::removeItemAtPath(path);
    Logger::log("Error read file " + error.description, LogLevel::developer);
    return std::nullopt;
  }
}

std::optional<std::vector<std::string>> FileReader::read(const Directory& directory, const std::string& fileName) {
  const std::filesystem::path path = directory.url / fileName;
  return readOrGiveUp(path, [&] { return readBlocks(path); });
}

std::optional<std::string> FileReader::readFirst(const Directory& directory, const std::string& fileName) {
  const std::filesystem::path path = directory.url / fileName;
  return readOrGiveUp(path, [&]() -> std::optional<std::string> {
    auto blocks = readBlocks(path, true);
    if (!blocks || blocks->empty()) return std::nullopt;
    return std::move(blocks->front());
  });
}

std::vector<File> FileReader::files(const Directory& directory) {
  auto listing = platform::contentsOfDirectoryAtPath(directory.url);
  if (listing.error) {
    Logger::log("Error read files in directory " + *listing.error, LogLevel::developer);
    return {};
  }
  std::vector<File> files;
  for (const auto& entry : listing.entries) {
    if (entry.isRegularFile) files.emplace_back(entry.url);
  }
  return files;
}

std::vector<Directory> FileReader::subdirectories(const Directory& root) {
  auto listing = platform::contentsOfDirectoryAtPath(root.url);
  if (listing.error) {
    Logger::log("Error get all subdirectories from root directory " + *listing.error, LogLevel::developer);
    return {};
  }
  std::vector<Directory> directories;
  for (const auto& entry : listing.entries) {
    if (!entry.isDirectory || entry.isHidden) continue;
    Directory directory = root;
    directory.url = entry.url;
    directories.push_back(std::move(directory));
  }
  return directories;
}

}  // namespace obx
