// FileWriter: makes one record of a value (encode, encipher with the AES of `security`, frame with
// the length) and writes it to a file, on the caller's thread. It takes no lock: the store calls it
// from one serial queue, or on the caller's thread for the immediate writes.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "store/files/file_writer_controller.h"
#include "store/files/security.h"
#include "store/files/writer.h"

namespace obx {

class FileWriter final : public Writer {
 public:
  explicit FileWriter(std::shared_ptr<const SecurityManager> security,
                      std::shared_ptr<const FileWriterController> fileController =
                          std::make_shared<FileWriterController>());

  // All three run at once; the first two call `completion` before they return.
  void append(WriteValue value, const Directory& directory, const std::string& fileName,
              WriteCompletion completion = {}) override;
  void writeFromStart(WriteValue value, const Directory& directory, const std::string& fileName,
                      WriteCompletion completion = {}) override;
  std::optional<FileError> appendNow(const WriteValue& value, const Directory& directory,
                                     const std::string& fileName) override;
  std::optional<FileError> appendNow(const WriteValue& value, const File& file) override;

  // The record of one plain block: 4-byte little-endian length and ciphertext. Throws FileError
  // "Error crypt" or "Data length exceeds limit".
  std::string record(std::string_view plainBlock) const;
  // The record of a value's plain block; also throws EncodingError.
  std::string record(const WriteValue& value) const;

 private:
  enum class Mode { append, fromStart };
  std::optional<FileError> write(const WriteValue& value, const Directory& directory, const std::string& fileName,
                                 Mode mode) const;

  std::shared_ptr<const FileWriterController> fileController_;
  std::shared_ptr<const SecurityManager> security_;
};

}  // namespace obx
