// SendResult: how one send through the HTTP client, or one upload, ended: the response's data on
// success, otherwise the error that ended it.
#pragma once

#include <optional>

#include "platform/net/http_headers.h"
#include "upload/errors.h"

namespace obx {

struct SendResult {
  // Present on success (empty when the server sent no body); absent on failure.
  std::optional<platform::Data> data;
  // Present on failure.
  std::optional<UploadError> error;

  static SendResult success(platform::Data data) { return SendResult{std::move(data), std::nullopt}; }
  static SendResult failure(UploadError error) { return SendResult{std::nullopt, std::move(error)}; }

  bool isSuccess() const { return !error.has_value(); }
  // The RetryPolicyException that ended the send, or null.
  const RetryPolicyException* retryPolicyException() const {
    return error ? std::get_if<RetryPolicyException>(&*error) : nullptr;
  }
};

}  // namespace obx
