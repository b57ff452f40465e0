// FileReader: reads the blocks of a file and deciphers them with the AES of `security`, lists the
// files of a folder and the folders of a root, on the caller's thread. Any error in the read of a
// file is logged and the file is deleted as a whole, good blocks included: a damaged file would
// otherwise fail every later read.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "store/files/block_in_file.h"
#include "store/files/file_reader_controller.h"
#include "store/files/reader.h"
#include "store/files/security.h"

namespace obx {

class FileReader final : public Reader {
 public:
  explicit FileReader(std::shared_ptr<const SecurityManager> security,
                      std::shared_ptr<const FileReaderController> fileController =
                          std::make_shared<FileReaderController>());

  std::optional<std::vector<std::string>> read(const Directory& directory, const std::string& fileName) override;
  std::optional<std::string> readFirst(const Directory& directory, const std::string& fileName) override;
  std::vector<File> files(const Directory& directory) override;
  std::vector<Directory> subdirectories(const Directory& root) override;

  // The plain blocks of the file at `path`, without the error handling: throws FileError.
  // Nothing when the file is missing. For tools that must never delete.
  // With `firstOnly`, stops after the first record.
  std::optional<std::vector<std::string>> readBlocks(const std::filesystem::path& path, bool firstOnly = false) const;

 private:
  // Runs `read` and gives up the file on any FileError: two log lines, the file deleted, nothing.
  template <typename Read>
  auto readOrGiveUp(const std::filesystem::path& path, Read&& read) -> decltype(read());

  std::shared_ptr<const FileReaderController> fileController_;
  std::shared_ptr<const SecurityManager> security_;
};

}  // namespace obx
