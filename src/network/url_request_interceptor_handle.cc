#include "network/url_request_interceptor_handle.h"

namespace obx {

URLRequestInterceptorHandle::URLRequestInterceptorHandle(std::shared_ptr<platform::Scheduler> scheduler)
    : URLSessionInterceptor(std::move(scheduler), platform::URLSession::kDataTaskWithRequest, kSwizzleErrorMessage,
                            [](const platform::URLRequest& request) { return InterceptedRequest::of(request); }) {}

}  // namespace obx
