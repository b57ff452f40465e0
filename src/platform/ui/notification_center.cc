#include "platform/ui/notification_center.h"

#include "platform/ui/application.h"

namespace obx::platform {

NotificationCenter::NotificationCenter(std::shared_ptr<Scheduler> scheduler) : scheduler_(std::move(scheduler)) {}

std::shared_ptr<NotificationCenter> NotificationCenter::defaultCenter() {
  return Application::shared()->notificationCenter();
}

NotificationCenter::Token NotificationCenter::addObserver(const std::string& name, std::shared_ptr<Object> object,
                                                          Block block, std::shared_ptr<DispatchQueue> queue) {
  Registration registration;
  registration.name = name;
  registration.anyObject = object == nullptr;
  registration.object = object;
  registration.block = std::make_shared<Block>(std::move(block));
  registration.queue = std::move(queue);
  std::lock_guard lock(state_->mutex);
  Token token = state_->nextToken++;
  state_->registrations.emplace(token, std::move(registration));
  return token;
}

void NotificationCenter::removeObserver(Token token) {
  Registration removed;  // its block is destroyed outside the lock
  std::lock_guard lock(state_->mutex);
  auto found = state_->registrations.find(token);
  if (found == state_->registrations.end()) return;
  removed = std::move(found->second);
  state_->registrations.erase(found);
}

std::size_t NotificationCenter::observerCount(const std::string& name) const {
  std::lock_guard lock(state_->mutex);
  std::size_t count = 0;
  for (const auto& [token, registration] : state_->registrations) count += registration.name == name ? 1 : 0;
  return count;
}

void NotificationCenter::post(Notification notification) {
  std::vector<std::pair<Token, std::shared_ptr<DispatchQueue>>> targets;
  {
    std::lock_guard lock(state_->mutex);
    for (const auto& [token, registration] : state_->registrations) {
      if (registration.name != notification.name) continue;
      if (!registration.anyObject && registration.object.lock() != notification.object) continue;
      targets.emplace_back(token, registration.queue);
    }
  }
  auto shared = std::make_shared<const Notification>(std::move(notification));
  auto scheduler = scheduler_.lock();
  if (!scheduler) return;
  auto mainQueue = scheduler->mainQueue();
  std::weak_ptr<State> weakState = state_;
  for (auto& [token, queue] : targets) {
    auto target = queue ? queue : mainQueue;
    target->async([weakState, token = token, shared] {
      auto state = weakState.lock();
      if (!state) return;
      std::shared_ptr<Block> block;
      {
        std::lock_guard lock(state->mutex);
        auto found = state->registrations.find(token);
        if (found == state->registrations.end()) return;
        block = found->second.block;
      }
      if (block && *block) (*block)(*shared);
    });
  }
}

}  // namespace obx::platform
