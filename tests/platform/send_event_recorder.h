// SendEventRecorder: the touches that reach the application's "sendEvent:" while it lives, as each
// event carried them when it was sent, through an implementation put in place of the toolkit's own
// that calls through to it. The destructor puts the toolkit's back.
#pragma once

#include <memory>
#include <vector>

#include "platform/runtime/runtime.h"
#include "platform/ui/application.h"
#include "platform/ui/event.h"
#include "platform/ui/touch.h"

namespace obx::testing {

class SendEventRecorder {
 public:
  struct Seen {
    platform::TouchPhase phase;
    platform::Point location;
    double timestamp;
    platform::View* view;
    std::vector<std::shared_ptr<platform::GestureRecognizer>> recognizers;
  };

  SendEventRecorder() {
    auto original = *platform::methodGetImplementation(method_)->as<platform::SendEventSignature>();
    before_ = platform::methodSetImplementation(
        method_, platform::Implementation::make<platform::SendEventSignature>(
                     [this, original](platform::Object& app, const platform::Event& event) {
                       std::vector<Seen> touches;
                       for (const auto& touch : event.allTouches().value_or(std::vector<std::shared_ptr<platform::Touch>>{})) {
                         touches.push_back({touch->phase(), touch->locationInWindow(), touch->timestamp(),
                                            touch->view().get(), touch->gestureRecognizers().value_or(
                                                std::vector<std::shared_ptr<platform::GestureRecognizer>>{})});
                       }
                       events.push_back(std::move(touches));
                       original(app, event);
                     }));
  }
  ~SendEventRecorder() { platform::methodSetImplementation(method_, before_); }
  SendEventRecorder(const SendEventRecorder&) = delete;
  SendEventRecorder& operator=(const SendEventRecorder&) = delete;

  // One entry per event sent, with the touches it carried.
  std::vector<std::vector<Seen>> events;

 private:
  platform::Method* method_ = platform::Application::runtimeClass()->instanceMethod(platform::selectors::sendEvent);
  platform::IMP before_;
};

}  // namespace obx::testing
