// UploadFileInterceptorHandle: measures `uploadTaskWithRequest:fromFile:completionHandler:`: the
// request's URL and method, the size of the request's own body (the file is not counted), the size
// of the data received.
#pragma once

#include <memory>

#include "network/url_session_interceptor.h"

namespace obx {

class UploadFileInterceptorHandle final
    : public URLSessionInterceptor<platform::URLSessionUploadTask, platform::DataTaskCompletion,
                                   const platform::URLRequest&, const platform::URL&> {
 public:
  static constexpr const char* kSwizzleErrorMessage = "RUM URL Request Interceptor Handle swizzle error ";

  explicit UploadFileInterceptorHandle(std::shared_ptr<platform::Scheduler> scheduler);
};

}  // namespace obx
