#include "testing/fake_reachability.h"

#include <stdexcept>

namespace obx::testing {

void FakeReachability::startNotifier() {
  if (failNextStart_) {
    failNextStart_ = false;
    throw std::runtime_error("unableToSetCallback(1)");
  }
  running_ = true;
}

void FakeReachability::set(Connection connection) {
  connection_ = connection;
  if (!running_) return;
  const bool up = connection == Connection::wifi || connection == Connection::cellular;
  auto& callback = up ? whenReachable_ : whenUnreachable_;
  if (callback) callback(*this);
}

}  // namespace obx::testing
