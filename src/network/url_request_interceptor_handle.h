// URLRequestInterceptorHandle: measures `dataTaskWithRequest:completionHandler:`: the request's URL and
// method, the size of its body, the size of the data received.
#pragma once

#include <memory>

#include "network/url_session_interceptor.h"

namespace obx {

class URLRequestInterceptorHandle final
    : public URLSessionInterceptor<platform::URLSessionDataTask, platform::DataTaskCompletion,
                                   const platform::URLRequest&> {
 public:
  static constexpr const char* kSwizzleErrorMessage = "RUM URL Request Interceptor Handle swizzle error ";

  explicit URLRequestInterceptorHandle(std::shared_ptr<platform::Scheduler> scheduler);
};

}  // namespace obx
