#include "rum/rum_web_view_sampling.h"

#include "base/logger.h"
#include "platform/ui/application.h"
#include "platform/ui/button.h"
#include "platform/ui/image_view.h"
#include "platform/ui/label.h"
#include "platform/ui/text_field.h"
#include "platform/ui/text_view.h"
#include "platform/ui/web_view.h"
#include "platform/ui/window.h"

namespace obx {

std::shared_ptr<RUMWebViewSampling> RUMWebViewSampling::make(std::shared_ptr<SDKConfiguration> configuration,
                                                             std::shared_ptr<platform::DispatchQueue> queue,
                                                             std::shared_ptr<platform::DispatchQueue> mainQueue,
                                                             std::shared_ptr<platform::Application> application) {
  auto sampling = std::make_shared<RUMWebViewSampling>(Token{}, std::move(configuration), std::move(mainQueue),
                                                       std::move(application));
  std::weak_ptr<RUMWebViewSampling> weak = sampling;
  sampling->observer_ =
      ObserverValue<Common>::make(std::move(queue), [weak](const Common& newCommon, const Common& previous) {
        if (auto self = weak.lock()) self->configurationChanged(newCommon, previous);
      });
  if (sampling->configuration) sampling->configuration->addObserver(sampling->observer_);
  return sampling;
}

RUMWebViewSampling::RUMWebViewSampling(Token, std::shared_ptr<SDKConfiguration> configuration,
                                       std::shared_ptr<platform::DispatchQueue> mainQueue,
                                       std::shared_ptr<platform::Application> application)
    : configuration(std::move(configuration)), mainQueue_(std::move(mainQueue)), application_(std::move(application)) {}

RUMWebViewSampling::~RUMWebViewSampling() {
  if (configuration && observer_) configuration->removeObserver(observer_);
}

std::string RUMWebViewSampling::script(SamplingFlags flag) {
  const std::string n = std::to_string(static_cast<int>(flag));
  return "   function sonvelReady() {\n"
         "       window.sonvelGauge.setSamplingFromNative(" + n + ");\n"
         "   }\n"
         "   if (typeof window.sonvelGauge !== \"undefined\") {\n"
         "       window.sonvelGauge('ready', sonvelReady);\n"
         "   } else {\n"
         "       window._qv_readyArray = window._qv_readyArray || [];\n"
         "       window._qv_readyArray.push(sonvelReady);\n"
         "   }";
}

bool RUMWebViewSampling::samplingFlagsChanged(const Common& newCommon, const Common& previous) {
  return newCommon.userSessionCookieFlag != previous.userSessionCookieFlag ||
         newCommon.sessionCookieFlags != previous.sessionCookieFlags ||
         newCommon.leadCookieFlags != previous.leadCookieFlags;
}

void RUMWebViewSampling::configurationChanged(const Common& newCommon, const Common& previous) {
  if (!samplingFlagsChanged(newCommon, previous)) return;
  std::string text = script(webViewSamplingFlag(newCommon));
  std::weak_ptr<const RUMWebViewSampling> weak = weak_from_this();
  mainQueue_->async([weak, text = std::move(text)] {
    if (auto self = weak.lock()) self->push(text);
  });
}

void RUMWebViewSampling::push(const std::string& script) const {
  auto application = application_ ? application_ : platform::Application::shared();
  auto window = application ? application->keyWindow() : nullptr;
  if (!window) return;
  for (const auto& subview : window->subviews()) visit(subview, script);
}

void RUMWebViewSampling::visit(const std::shared_ptr<platform::View>& view, const std::string& script) const {
  if (!view) return;
  // Text, image and button views hold no page: their subtrees are left alone.
  for (platform::Class* leaf : {platform::Label::runtimeClass(), platform::TextView::runtimeClass(),
                                platform::TextField::runtimeClass(), platform::Button::runtimeClass(),
                                platform::ImageView::runtimeClass()}) {
    if (view->isKindOfClass(leaf)) return;
  }
  if (auto webView = std::dynamic_pointer_cast<platform::WebView>(view)) {
    webView->evaluateJavaScript(script);
    Logger::log("called for WebView: " + script, LogLevel::developer);
    return;
  }
  for (const auto& subview : view->subviews()) visit(subview, script);
}

}  // namespace obx
