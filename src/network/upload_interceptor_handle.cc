#include "network/upload_interceptor_handle.h"

namespace obx {

UploadInterceptorHandle::UploadInterceptorHandle(std::shared_ptr<platform::Scheduler> scheduler)
    : URLSessionInterceptor(
          std::move(scheduler), platform::URLSession::kUploadTaskWithRequestFromData, kSwizzleErrorMessage,
          [](const platform::URLRequest& request, const platform::Data&) { return InterceptedRequest::of(request); }) {}

}  // namespace obx
