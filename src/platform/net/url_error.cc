#include "platform/net/url_error.h"

namespace obx::platform {

URLError URLError::make(int code) {
  switch (code) {
    case kCancelled: return make(code, "cancelled");
    case kBadURL: return make(code, "bad URL");
    case kTimedOut: return make(code, "The request timed out.");
    case kUnsupportedURL: return make(code, "unsupported URL");
    case kCannotFindHost: return make(code, "A server with the specified hostname could not be found.");
    case kCannotConnectToHost: return make(code, "Could not connect to the server.");
    case kNetworkConnectionLost: return make(code, "The network connection was lost.");
    case kHTTPTooManyRedirects: return make(code, "too many HTTP redirects");
    case kResourceUnavailable: return make(code, "resource unavailable");
    case kBadServerResponse: return make(code, "bad server response");
    case kSecureConnectionFailed:
      return make(code, "An SSL error has occurred and a secure connection to the server cannot be made.");
    case kCannotCreateFile: return make(code, "cannot create file");
    case kCannotOpenFile: return make(code, "cannot open file");
    case kCannotWriteToFile: return make(code, "cannot write to file");
    case kFileDoesNotExist: return make(code, "The requested URL was not found on this server.");
    default: return make(code, "unknown error");
  }
}

}  // namespace obx::platform
