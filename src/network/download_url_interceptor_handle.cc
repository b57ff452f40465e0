#include "network/download_url_interceptor_handle.h"

namespace obx {

DownloadURLInterceptorHandle::DownloadURLInterceptorHandle(std::shared_ptr<platform::Scheduler> scheduler)
    : URLSessionInterceptor(std::move(scheduler), platform::URLSession::kDownloadTaskWithURL, kSwizzleErrorMessage,
                            [](const platform::URL& url) { return InterceptedRequest::get(url); }) {}

}  // namespace obx
