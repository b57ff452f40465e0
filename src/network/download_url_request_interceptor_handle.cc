#include "network/download_url_request_interceptor_handle.h"

namespace obx {

DownloadURLRequestInterceptorHandle::DownloadURLRequestInterceptorHandle(std::shared_ptr<platform::Scheduler> scheduler)
    : URLSessionInterceptor(std::move(scheduler), platform::URLSession::kDownloadTaskWithRequest, kSwizzleErrorMessage,
                            [](const platform::URLRequest& request) { return InterceptedRequest::of(request); }) {}

}  // namespace obx
