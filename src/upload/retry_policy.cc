#include "upload/retry_policy.h"

namespace obx {

std::string toString(RetryPolicy policy) {
  switch (policy) {
    case RetryPolicy::drop: return "drop";
    case RetryPolicy::stop: return "stop";
    case RetryPolicy::retry: return "retry";
  }
  return "retry";
}

}  // namespace obx
