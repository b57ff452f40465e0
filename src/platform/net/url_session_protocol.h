// URLSessionProtocol: the one thing the SDK's HTTP client needs of a session, so that tests can give
// it a fake. URLSession implements it.
#pragma once

#include <memory>

#include "platform/net/url_session_task.h"

namespace obx::platform {

class URLSessionProtocol {
 public:
  virtual ~URLSessionProtocol() = default;
  // A suspended data task for `request`; `completionHandler` runs once when it ends.
  virtual std::shared_ptr<URLSessionDataTask> dataTaskWithRequest(const URLRequest& request,
                                                                  DataTaskCompletion completionHandler) = 0;
};

}  // namespace obx::platform
