#include "store/files/file_writer.h"

#include "store/files/aes.h"
#include "store/files/block_in_file.h"

namespace obx {

FileWriter::FileWriter(std::shared_ptr<const SecurityManager> security,
                       std::shared_ptr<const FileWriterController> fileController)
    : fileController_(std::move(fileController)), security_(std::move(security)) {}

std::string FileWriter::record(std::string_view plainBlock) const {
  auto aes = AES::make(security_->key(), security_->ivK());
  if (!aes) throw FileError{"Error crypt"};
  auto ciphertext = aes->encrypt(plainBlock);
  if (!ciphertext) throw FileError{"Error crypt"};
  if (ciphertext->size() > kMaxBlockLength || ciphertext->size() > UINT32_MAX) {
    throw FileError{"Data length exceeds limit"};
  }
  std::string out = encodeBlockLength(static_cast<std::uint32_t>(ciphertext->size()));
  out += *ciphertext;
  return out;
}

std::optional<FileError> FileWriter::write(const WriteValue& value, const Directory& directory,
                                           const std::string& fileName, Mode mode) const {
  try {
    const std::string bytes = record(value);
    if (mode == Mode::append) {
      fileController_->fileForAppending(directory.url / fileName).append(bytes);
    } else {
      fileController_->fileForWriting(directory.url / fileName).writeFromStart(bytes);
    }
    return std::nullopt;
  } catch (const FileError& error) {
    return error;
  } catch (const EncodingError& error) {
    return FileError{error.description};
  }
}

void FileWriter::append(WriteValue value, const Directory& directory, const std::string& fileName,
                        WriteCompletion completion) {
  auto error = write(value, directory, fileName, Mode::append);
  if (completion) completion(error);
}

void FileWriter::writeFromStart(WriteValue value, const Directory& directory, const std::string& fileName,
                                WriteCompletion completion) {
  auto error = write(value, directory, fileName, Mode::fromStart);
  if (completion) completion(error);
}

std::optional<FileError> FileWriter::appendNow(const WriteValue& value, const Directory& directory,
                                               const std::string& fileName) {
  return write(value, directory, fileName, Mode::append);
}

std::optional<FileError> FileWriter::appendNow(const WriteValue& value, const File& file) {
  try {
    file.append(record(value));
    return std::nullopt;
  } catch (const FileError& error) {
    return error;
  } catch (const EncodingError& error) {
    return FileError{error.description};
  }
}

std::string FileWriter::record(const WriteValue& value) const {
  const std::string* raw = value.rawBytes();
  return raw ? record(*raw) : record(value.plainBlock());
}

}  // namespace obx
