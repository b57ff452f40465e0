// URLSessionInterceptor: the body shared by the six interceptors of the URL session's factory
// operations. Each replaces one operation in the "NSURLSession" method table with a stand-in that,
// when the caller gave a completion handler, calls the replaced implementation with a wrapping
// handler and times the task from the moment it was made. The wrapping handler reports the finished
// request through the interceptor's notifier, then calls the caller's handler with the same three
// values, once, whatever the measuring did. A task made without a handler is passed through unseen.
//
// Threads: the stand-in runs on the caller's thread, the wrapping handler on the session's delegate
// queue. What they report to is shared and held weakly, so a completion that comes after the
// interceptor is gone only calls the caller's handler.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "base/logger.h"
#include "base/notifier.h"
#include "lifecycle/swizzler.h"
#include "network/intercepted_request.h"
#include "network/url_interceptor_observing.h"
#include "platform/dispatch/scheduler.h"
#include "platform/net/url_session.h"

namespace obx {

template <typename Task, typename Completion, typename... Inputs>
class URLSessionInterceptor : public Swizzler<std::shared_ptr<Task>(platform::Object&, Inputs..., Completion)>,
                              public URLInterceptorObserving {
  using Base = Swizzler<std::shared_ptr<Task>(platform::Object&, Inputs..., Completion)>;

 public:
  using Function = typename Base::Function;
  using Notifier = obx::Notifier<std::optional<URLSessionDataIntercepted>>;
  // What the interceptor takes of the factory operation's inputs when the task is made.
  using Describe = std::function<InterceptedRequest(Inputs...)>;

  // `selector` names the factory operation; `swizzleErrorMessage` opens the log line of a failed
  // start. Dates come from `scheduler`'s clock.
  URLSessionInterceptor(std::shared_ptr<platform::Scheduler> scheduler, platform::Selector selector,
                        std::string swizzleErrorMessage, Describe describe)
      : selector_(std::move(selector)),
        swizzleErrorMessage_(std::move(swizzleErrorMessage)),
        describe_(std::move(describe)),
        state_(std::make_shared<State>(scheduler)) {}
  ~URLSessionInterceptor() override { stop(); }

  void start() override {
    std::weak_ptr<State> weak = state_;
    Describe describe = describe_;
    const bool installed =
        this->swizzle(platform::URLSession::runtimeClass(), selector_, [weak, describe](Function original) {
          return Function([weak, describe, original](platform::Object& session, Inputs... inputs,
                                                     Completion handler) -> std::shared_ptr<Task> {
            auto state = weak.lock();
            if (!handler || !state) return original(session, std::forward<Inputs>(inputs)..., std::move(handler));
            auto date = std::make_shared<std::atomic<platform::Date>>(state->now());
            auto holder = std::make_shared<std::atomic<bool>>(false);
            Completion wrapping = wrap(weak, describe(inputs...), date, holder, std::move(handler));
            std::shared_ptr<Task> task = original(session, std::forward<Inputs>(inputs)..., std::move(wrapping));
            if (task) holder->store(true);
            // The time runs from the moment the task exists, not from before it was made.
            date->store(state->now());
            return task;
          });
        });
    if (!installed) {
      Logger::log(swizzleErrorMessage_ + "no replaceable method \"" + selector_ + "\" on NSURLSession",
                  LogLevel::developer);
    }
  }

  void stop() override { this->unswizzleAll(); }

  void add(std::shared_ptr<InterceptedObserverValue> observer) override {
    state_->notifier->observe(std::move(observer));
  }
  void remove(const std::shared_ptr<InterceptedObserverValue>& observer) override {
    state_->notifier->remove(observer);
  }
  std::optional<URLSessionDataIntercepted> urlSession() const override {
    std::lock_guard lock(state_->mutex);
    return state_->urlSession;
  }

 private:
  struct State {
    explicit State(std::shared_ptr<platform::Scheduler> scheduler)
        : scheduler(scheduler),
          notifier(
              std::make_shared<Notifier>(std::move(scheduler), std::nullopt, "Optional<URLSessionDataIntercepted>")) {}
    platform::Date now() const { return scheduler->clock().now(); }
    void report(URLSessionDataIntercepted value) {
      {
        std::lock_guard lock(mutex);
        urlSession = value;
      }
      notifier->notify(std::move(value));
    }

    std::shared_ptr<platform::Scheduler> scheduler;
    std::shared_ptr<Notifier> notifier;
    std::mutex mutex;
    std::optional<URLSessionDataIntercepted> urlSession;
  };

  // The handler given to the replaced implementation in place of the caller's.
  static Completion wrap(std::weak_ptr<State> weak, InterceptedRequest request,
                         std::shared_ptr<std::atomic<platform::Date>> date, std::shared_ptr<std::atomic<bool>> holder,
                         Completion handler) {
    return [weak = std::move(weak), request = std::move(request), date = std::move(date), holder = std::move(holder),
            handler = std::move(handler)](auto first, std::shared_ptr<const platform::URLResponse> response,
                                          std::optional<platform::URLError> error) {
      try {
        measure(weak, request, date->load(), holder->load(), first, response, error);
      } catch (...) {
        // The measuring never keeps the application from its answer.
      }
      handler(std::move(first), std::move(response), std::move(error));
    };
  }

  template <typename First>
  static void measure(const std::weak_ptr<State>& weak, const InterceptedRequest& request, platform::Date date,
                      bool hasTask, const First& first, const std::shared_ptr<const platform::URLResponse>& response,
                      const std::optional<platform::URLError>& error) {
    if (!hasTask || (!first && !error)) return;
    auto state = weak.lock();
    if (!state) return;
    std::optional<std::int64_t> received = receivedBytes(first);
    // A download whose file can't be measured is reported only when it failed anyway.
    if (first && !received && !error) return;
    URLSessionDataIntercepted value{request.url,  request.method,    std::nullopt, date,
                                    std::nullopt, request.bytesSent, received,     error};
    if (const auto* http = platform::asHTTPURLResponse(response)) {
      value.code = http->statusCode();
      value.headers = http->allHeaderFields();
    }
    state->report(std::move(value));
  }

  const platform::Selector selector_;
  const std::string swizzleErrorMessage_;
  const Describe describe_;
  const std::shared_ptr<State> state_;
};

}  // namespace obx
