// RUMWebViewSampling: keeps the web tag of pages shown in web views in step with this session's
// sampling. When the experience sampling flags change (the user's retention, the server's session or
// lead flags), it runs a script in every web view of the key window that hands the tag the new
// webViewSamplingFlag; pages without the tag keep the call queued for a tag that may load later.
// Web views inside text, image and button views are not looked for.
//
// Threads: the configuration observer runs on the queue given (the analytics queue); the push runs
// on the main queue, as it reads the view tree.
#pragma once

#include <memory>
#include <string>

#include "base/observer_value.h"
#include "config/sdk_configuration.h"
#include "platform/dispatch/dispatch_queue.h"

namespace obx {
namespace platform {
class Application;
class View;
}  // namespace platform

class RUMWebViewSampling : public std::enable_shared_from_this<RUMWebViewSampling> {
 public:
  // Subscribes to `configuration` at once, with its updates on `queue` and the push on `mainQueue`.
  // `application` null means the shared application at the time of each push.
  static std::shared_ptr<RUMWebViewSampling> make(std::shared_ptr<SDKConfiguration> configuration,
                                                  std::shared_ptr<platform::DispatchQueue> queue,
                                                  std::shared_ptr<platform::DispatchQueue> mainQueue,
                                                  std::shared_ptr<platform::Application> application = nullptr);
  // Removes the subscription; a push already posted then finds this object gone and does nothing.
  ~RUMWebViewSampling();
  RUMWebViewSampling(const RUMWebViewSampling&) = delete;
  RUMWebViewSampling& operator=(const RUMWebViewSampling&) = delete;

  // The script handed to a page for `flag`, its raw value in decimal.
  static std::string script(SamplingFlags flag);
  // Whether the flags the web tag follows differ between the two; an absent value equals only an
  // absent one.
  static bool samplingFlagsChanged(const Common& newCommon, const Common& previous);

 private:
  struct Token {};

 public:
  RUMWebViewSampling(Token, std::shared_ptr<SDKConfiguration> configuration,
                     std::shared_ptr<platform::DispatchQueue> mainQueue,
                     std::shared_ptr<platform::Application> application);

 private:
  void configurationChanged(const Common& newCommon, const Common& previous);
  // On the main queue.
  void push(const std::string& script) const;
  void visit(const std::shared_ptr<platform::View>& view, const std::string& script) const;

  std::shared_ptr<SDKConfiguration> configuration;
  std::shared_ptr<platform::DispatchQueue> mainQueue_;
  std::shared_ptr<platform::Application> application_;
  std::shared_ptr<ObserverValue<Common>> observer_;
};

}  // namespace obx
