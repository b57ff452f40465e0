// RetryPolicy: what to do with a request that did not succeed. `drop` gives its content up, `stop`
// ends sending while the shared try counter is spent, `retry` sends it again after a delay.
#pragma once

#include <string>

namespace obx {

enum class RetryPolicy { drop, stop, retry };

// "drop", "stop", "retry".
std::string toString(RetryPolicy policy);

}  // namespace obx
