#include "upload/upload_zip.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "base/logger.h"
#include "platform/files/file_manager.h"
#include "platform/zip/zip_archive.h"
#include "store/files/aes.h"

namespace obx {
namespace {

std::optional<std::string> encipher(const SecurityManager& security, std::string_view plain) {
  auto aes = AES::make(security.key(), security.ivK());
  if (!aes) return std::nullopt;
  return aes->encrypt(plain);
}

}  // namespace

std::optional<std::string> writeFileAtomically(const std::filesystem::path& file, std::string_view bytes) {
  std::filesystem::path temporary = file;
  temporary += ".writing";
  if (auto error = platform::createFileAtPath(temporary, bytes)) return error;
  std::error_code renameError;
  std::filesystem::rename(temporary, file, renameError);
  if (renameError) {
    platform::removeItemAtPath(temporary);
    return "Could not move " + temporary.string() + " to " + file.string() + ": " + renameError.message();
  }
  return std::nullopt;
}

std::optional<FileError> writeEncipheredFiles(const std::filesystem::path& raw, const std::string& body,
                                              const std::vector<Image>& images, const SecurityManager& security) {
  if (auto error = platform::createDirectoryAtPath(raw, true)) return FileError{*error};
  auto data = encipher(security, body);
  if (!data) return FileError{"Error crypt"};
  if (auto error = writeFileAtomically(raw / "data", *data)) return FileError{*error};
  for (const auto& image : images) {
    auto cipher = encipher(security, image.data);
    if (!cipher) break;
    if (auto error = writeFileAtomically(raw / std::to_string(image.index), *cipher)) return FileError{*error};
  }
  return std::nullopt;
}

std::optional<platform::Data> buildUploadZip(const std::filesystem::path& zipDirectory, const std::string& id,
                                             const std::string& body, const std::vector<Image>& images,
                                             const SecurityManager& security, bool* diskFailure,
                                             WriteFailureLog* diskFailures) {
  const auto folder = zipDirectory / (id + "_zip");
  const auto archive = zipDirectory / (id + ".zip");
  if (diskFailure) *diskFailure = false;
  auto fail = [&](const std::string& error) -> std::optional<platform::Data> {
    if (platform::directoryExistsAtPath(folder)) platform::removeItemAtPath(folder);
    if (platform::fileExistsAtPath(archive)) platform::removeItemAtPath(archive);
    const bool ofTheDisk = error != "Error crypt";
    if (diskFailure) *diskFailure = ofTheDisk;
    if (ofTheDisk && diskFailures) {
      diskFailures->failed("Error creating ZIP file in memory: " + error);
    } else {
      Logger::log("Error creating ZIP file in memory: " + error, LogLevel::qa);
    }
    return std::nullopt;
  };

  // Earlier builds went through this work folder; one that a dying process left is not wanted.
  if (platform::fileExistsAtPath(folder)) {
    if (auto error = platform::removeItemAtPath(folder)) return fail(*error);
  }
  auto data = encipher(security, body);
  if (!data) return fail("Error crypt");
  const std::string raw = id + "_zip/raw/";
  std::vector<platform::ZipSource> files;
  files.reserve(images.size() + 1);
  files.push_back({raw + "data", std::move(*data)});
  for (const auto& image : images) {
    auto cipher = encipher(security, image.data);
    if (!cipher) break;
    files.push_back({raw + std::to_string(image.index), std::move(*cipher)});
  }
  // In name order, as the folder of these files would be zipped.
  std::stable_sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
  std::string zipError;
  auto bytes = platform::zipFiles(std::move(files), &zipError);
  if (!bytes) return fail(zipError);

  // Written beside its final name and moved there, so `<id>.zip` is always whole.
  if (auto error = platform::createDirectoryAtPath(zipDirectory, true)) return fail(*error);
  const std::string_view archiveBytes(reinterpret_cast<const char*>(bytes->data()), bytes->size());
  if (auto error = writeFileAtomically(archive, archiveBytes)) return fail(*error);
  if (diskFailures) diskFailures->succeeded();
  return bytes;
}

}  // namespace obx
