#include "network/upload_file_interceptor_handle.h"

namespace obx {

UploadFileInterceptorHandle::UploadFileInterceptorHandle(std::shared_ptr<platform::Scheduler> scheduler)
    : URLSessionInterceptor(
          std::move(scheduler), platform::URLSession::kUploadTaskWithRequestFromFile, kSwizzleErrorMessage,
          [](const platform::URLRequest& request, const platform::URL&) { return InterceptedRequest::of(request); }) {}

}  // namespace obx
