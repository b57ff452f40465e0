// NotificationCenter: the toolkit's broadcast of named notifications. Observers register a block
// for a name (and optionally one sending object); `post` delivers on the main queue of the centre's
// scheduler, or on the queue an observer asked for, never on the poster's stack. An observer removed
// before a delivery runs does not receive it. All operations may be called from any thread.
#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/dispatch/dispatch_queue.h"
#include "platform/runtime/object.h"

namespace obx::platform {

struct Notification {
  std::string name;
  std::shared_ptr<Object> object;           // the sender, may be null
  std::map<std::string, std::any> userInfo;  // extra values, keyed by the poster's names
};

class NotificationCenter {
 public:
  using Token = std::uint64_t;
  using Block = std::function<void(const Notification&)>;

  explicit NotificationCenter(std::shared_ptr<Scheduler> scheduler);
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  // The centre of the shared application (`Application::shared()->notificationCenter()`).
  static std::shared_ptr<NotificationCenter> defaultCenter();

  // Calls `block` for each notification named `name` (any sender when `object` is null), on
  // `queue`, or on the main queue when `queue` is null. Returns the token that removes it.
  Token addObserver(const std::string& name, std::shared_ptr<Object> object, Block block,
                    std::shared_ptr<DispatchQueue> queue = nullptr);
  void removeObserver(Token token);
  // Delivers asynchronously to every observer registered for the name at the time of delivery.
  void post(Notification notification);
  void post(const std::string& name, std::shared_ptr<Object> object = nullptr) {
    post(Notification{name, std::move(object), {}});
  }
  std::size_t observerCount(const std::string& name) const;

 private:
  struct Registration {
    std::string name;
    std::weak_ptr<Object> object;
    bool anyObject = true;
    std::shared_ptr<Block> block;
    std::shared_ptr<DispatchQueue> queue;
  };
  // Shared with pending deliveries, which hold it weakly: a centre destroyed first delivers nothing.
  struct State {
    std::mutex mutex;
    std::map<Token, Registration> registrations;
    Token nextToken = 1;
  };

  std::weak_ptr<Scheduler> scheduler_;
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace obx::platform
