// DownloadURLRequestInterceptorHandle: measures `downloadTaskWithRequest:completionHandler:`: the request's
// URL and method, the size of its body, the size of the downloaded file, read when the handler is
// called.
#pragma once

#include <memory>

#include "network/url_session_interceptor.h"

namespace obx {

class DownloadURLRequestInterceptorHandle final
    : public URLSessionInterceptor<platform::URLSessionDownloadTask, platform::DownloadTaskCompletion,
                                   const platform::URLRequest&> {
 public:
  static constexpr const char* kSwizzleErrorMessage = "RUM URL Request Interceptor Handle swizzle error ";

  explicit DownloadURLRequestInterceptorHandle(std::shared_ptr<platform::Scheduler> scheduler);
};

}  // namespace obx
