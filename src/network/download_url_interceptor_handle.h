// DownloadURLInterceptorHandle: measures `downloadTaskWithURL:completionHandler:`: the URL fetched with
// "GET", nothing sent, the size of the downloaded file, read when the handler is called.
#pragma once

#include <memory>

#include "network/url_session_interceptor.h"

namespace obx {

class DownloadURLInterceptorHandle final
    : public URLSessionInterceptor<platform::URLSessionDownloadTask, platform::DownloadTaskCompletion,
                                   const platform::URL&> {
 public:
  static constexpr const char* kSwizzleErrorMessage = "RUM URL Interceptor Handle swizzle error ";

  explicit DownloadURLInterceptorHandle(std::shared_ptr<platform::Scheduler> scheduler);
};

}  // namespace obx
