// URLInterceptorHandle: measures `dataTaskWithURL:completionHandler:`: the URL fetched with "GET",
// nothing sent, the size of the data received.
#pragma once

#include <memory>

#include "network/url_session_interceptor.h"

namespace obx {

class URLInterceptorHandle final
    : public URLSessionInterceptor<platform::URLSessionDataTask, platform::DataTaskCompletion, const platform::URL&> {
 public:
  static constexpr const char* kSwizzleErrorMessage = "RUM URL Interceptor Handle swizzle error ";

  explicit URLInterceptorHandle(std::shared_ptr<platform::Scheduler> scheduler);
};

}  // namespace obx
