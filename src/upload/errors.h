// The error values of upload and of the store, each with the text that is logged in `description`.
// FileError and EndOfStreamError belong to the store's files (store/files/file_error.h) and are
// shared from there. None of them leaves the SDK: they travel in completions and are logged at the
// edge of the feature.
#pragma once

#include <string>
#include <variant>

#include "store/files/file_error.h"
#include "upload/retry_policy.h"

namespace obx {

// An upload attempted while UploadAuthorized::status is not `authorized`.
struct UnauthorizedUploadException {
  std::string description = "Unauthorized upload!";
};

// A request that ended without success, with what to do about it.
struct RetryPolicyException {
  std::string description;
  RetryPolicy policy = RetryPolicy::retry;
};

// No connectivity when a send was to start.
struct ConnectionError {
  std::string description = "Not internet connection";
};

// A stream that can't be opened.
struct InternalError {
  std::string description;
};

// What ends an upload without success.
using UploadError = std::variant<RetryPolicyException, ConnectionError, FileError, UnauthorizedUploadException>;

// The `description` of whichever error `error` holds.
std::string description(const UploadError& error);

}  // namespace obx
