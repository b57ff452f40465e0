#include "upload/upload_zip.h"

#include <system_error>

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

std::optional<std::string> writeFileAtomically(const std::filesystem::path& file, const std::string& bytes) {
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

  // A process that died while building this screen's ZIP left its files here: stale images or
  // temporary files would be zipped with the new ones.
  if (platform::fileExistsAtPath(folder)) {
    if (auto error = platform::removeItemAtPath(folder)) return fail(*error);
  }
  if (auto error = writeEncipheredFiles(folder / "raw", body, images, security)) return fail(error->description);

  // The archive is made beside its final name and moved there, so `<id>.zip` is always whole.
  auto temporary = zipDirectory / (id + ".zip.writing");
  if (auto error = platform::zipFolder(folder, temporary)) return fail(error->description);
  std::error_code moveError;
  std::filesystem::rename(temporary, archive, moveError);
  if (moveError) {
    platform::removeItemAtPath(temporary);
    return fail("Could not move " + temporary.string() + " to " + archive.string() + ": " + moveError.message());
  }
  if (auto error = platform::removeItemAtPath(folder)) return fail(*error);

  auto bytes = platform::contentsAtPath(archive);
  if (!bytes) return fail("Could not read " + archive.string());
  if (diskFailures) diskFailures->succeeded();
  return platform::Data(bytes->begin(), bytes->end());
}

}  // namespace obx
