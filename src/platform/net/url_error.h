// URLError: why a task failed, as a value: a domain, a code and a readable description. The
// session's transport errors are in kURLErrorDomain with the platform's negative codes.
#pragma once

#include <string>

namespace obx::platform {

inline constexpr const char* kURLErrorDomain = "NSURLErrorDomain";

struct URLError {
  // Codes of kURLErrorDomain.
  static constexpr int kUnknown = -1;
  static constexpr int kCancelled = -999;
  static constexpr int kBadURL = -1000;
  static constexpr int kTimedOut = -1001;
  static constexpr int kUnsupportedURL = -1002;
  static constexpr int kCannotFindHost = -1003;
  static constexpr int kCannotConnectToHost = -1004;
  static constexpr int kNetworkConnectionLost = -1005;
  static constexpr int kHTTPTooManyRedirects = -1007;
  static constexpr int kResourceUnavailable = -1008;
  static constexpr int kBadServerResponse = -1011;
  static constexpr int kSecureConnectionFailed = -1200;
  static constexpr int kCannotCreateFile = -3000;
  static constexpr int kCannotOpenFile = -3001;
  static constexpr int kCannotWriteToFile = -3003;
  static constexpr int kFileDoesNotExist = -1100;

  std::string domain;
  int code = kUnknown;
  std::string description;

  // The text shown to a person; the same as `description`.
  const std::string& localizedDescription() const { return description; }

  // An error of kURLErrorDomain with the platform's description of `code`.
  static URLError make(int code);
  static URLError make(int code, std::string description) {
    return URLError{kURLErrorDomain, code, std::move(description)};
  }
};

}  // namespace obx::platform
