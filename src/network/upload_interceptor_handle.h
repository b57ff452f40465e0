// UploadInterceptorHandle: measures `uploadTaskWithRequest:fromData:completionHandler:`: the request's
// URL and method, the size of the request's own body (the uploaded data is not counted), the size
// of the data received.
#pragma once

#include <memory>

#include "network/url_session_interceptor.h"

namespace obx {

class UploadInterceptorHandle final
    : public URLSessionInterceptor<platform::URLSessionUploadTask, platform::DataTaskCompletion,
                                   const platform::URLRequest&, const platform::Data&> {
 public:
  static constexpr const char* kSwizzleErrorMessage = "RUM URL Interceptor Handle swizzle error ";

  explicit UploadInterceptorHandle(std::shared_ptr<platform::Scheduler> scheduler);
};

}  // namespace obx
