// The encrypted ZIP of one screen: the archive of a folder `<id>_zip` holding "raw", in which "data"
// is the body and each image a file named by its decimal index, each the AES-CBC ciphertext (one
// shot, no length prefix) under the screen's session key. The archive is made in memory, with the
// entries that zipping such a folder gives, and written to `<zip>/<id>.zip`. Runs on the caller's
// thread; it touches only the paths it is given.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/net/http_headers.h"
#include "store/events/image.h"
#include "store/files/file_error.h"
#include "store/files/security.h"
#include "store/write_failure_log.h"

namespace obx {

// Writes `file` with `bytes` through a temporary file beside it and a rename, so a reader never
// sees half a file. Returns the error text, or nothing.
std::optional<std::string> writeFileAtomically(const std::filesystem::path& file, std::string_view bytes);

// Enciphers `body` into `<raw>/data` and each image into `<raw>/<index>`, creating `raw` with its
// parents. An image that can't be enciphered ends the images there. Returns the error, or nothing:
// FileError "Error crypt" when the body can't be enciphered, or the file system's text.
std::optional<FileError> writeEncipheredFiles(const std::filesystem::path& raw, const std::string& body,
                                              const std::vector<Image>& images, const SecurityManager& security);

// The bytes of `<zipDirectory>/<id>.zip`, built as described above, or nothing: the failure is
// logged ("Error creating ZIP file in memory: " + error) and leaves neither the archive nor the
// work folder behind. A failure of the file system rather than of the cipher (a full disk) sets
// `diskFailure` and, when `diskFailures` is given, is logged through it, once for a run of them.
std::optional<platform::Data> buildUploadZip(const std::filesystem::path& zipDirectory, const std::string& id,
                                             const std::string& body, const std::vector<Image>& images,
                                             const SecurityManager& security, bool* diskFailure = nullptr,
                                             WriteFailureLog* diskFailures = nullptr);

}  // namespace obx
