#include "network/url_interceptor_handle.h"

namespace obx {

URLInterceptorHandle::URLInterceptorHandle(std::shared_ptr<platform::Scheduler> scheduler)
    : URLSessionInterceptor(std::move(scheduler), platform::URLSession::kDataTaskWithURL, kSwizzleErrorMessage,
                            [](const platform::URL& url) { return InterceptedRequest::get(url); }) {}

}  // namespace obx
