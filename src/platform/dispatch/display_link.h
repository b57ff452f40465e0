// DisplayLink: a repeating tick on the main queue at a frame rate, like the platform's display link.
// Ticks are laid on a fixed grid from start() so that a slow tick does not make the rest drift.
// start(), invalidate() and the destructor may be called from any thread; a tick never runs after
// invalidate() has returned on the main queue.
#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "platform/dispatch/dispatch_queue.h"

namespace obx::platform {

class DisplayLink : public std::enable_shared_from_this<DisplayLink> {
 public:
  // `tick` receives the date of the frame.
  static std::shared_ptr<DisplayLink> make(std::shared_ptr<DispatchQueue> mainQueue, double framesPerSecond,
                                           std::function<void(Date)> tick);
  DisplayLink(std::shared_ptr<DispatchQueue> mainQueue, double framesPerSecond, std::function<void(Date)> tick);
  ~DisplayLink();

  void start();
  void invalidate();
  bool isRunning() const { return running_.load(); }
  double framesPerSecond() const { return framesPerSecond_; }

 private:
  void scheduleNext(unsigned generation, long frame, Date origin);

  std::shared_ptr<DispatchQueue> mainQueue_;
  const double framesPerSecond_;
  std::function<void(Date)> tick_;
  std::atomic<bool> running_{false};
  std::atomic<unsigned> generation_{0};
};

}  // namespace obx::platform
