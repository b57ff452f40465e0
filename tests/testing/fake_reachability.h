// FakeReachability: a Reachability whose connection a test sets. Each change calls the installed
// callback at once, on the test's thread, as the real monitor does on its notification queue.
#pragma once

#include <functional>

#include "platform/reachability/reachability.h"

namespace obx::testing {

class FakeReachability : public platform::Reachability {
 public:
  Connection connection() override { return connection_; }
  void setWhenReachable(Callback callback) override { whenReachable_ = std::move(callback); }
  void setWhenUnreachable(Callback callback) override { whenUnreachable_ = std::move(callback); }
  void startNotifier() override;
  void stopNotifier() override { running_ = false; }

  // Moves to `connection` and tells the callbacks, if the notifier runs.
  void set(Connection connection);
  // The next startNotifier throws.
  void failNextStart() { failNextStart_ = true; }
  bool isRunning() const { return running_; }

 private:
  Connection connection_ = Connection::none;
  Callback whenReachable_;
  Callback whenUnreachable_;
  bool running_ = false;
  bool failNextStart_ = false;
};

}  // namespace obx::testing
