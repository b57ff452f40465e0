// WebView: a view showing a web page. Loading is the host's affair; the view keeps the address and
// title, and runs scripts through a handler the host installs. Main queue only.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/runtime/runtime.h"
#include "platform/ui/view.h"

namespace obx::platform {

class WebView : public View {
 public:
  OBX_RUNTIME_CLASS(WebView, "WebView", View)
  WebView() : WebView(Rect{}) {}
  explicit WebView(Rect frame) : View(frame) { setDeclaredClass(runtimeClass()); }

  const std::string& url() const { return url_; }
  void loadURL(std::string url) {
    url_ = std::move(url);
    visualStateChanged();
  }
  const std::string& title() const { return title_; }
  void setTitle(std::string title) { title_ = std::move(title); }
  bool isLoading() const { return loading_; }
  void setLoading(bool loading) { loading_ = loading; }

  // Scripts run through `scriptHandler` when one is set; every script is also kept, in order.
  void evaluateJavaScript(const std::string& script, std::function<void(const std::string& result)> completion = {}) {
    evaluatedScripts_.push_back(script);
    std::string result = scriptHandler_ ? scriptHandler_(script) : std::string();
    if (completion) completion(result);
  }
  void setScriptHandler(std::function<std::string(const std::string&)> handler) { scriptHandler_ = std::move(handler); }
  const std::vector<std::string>& evaluatedScripts() const { return evaluatedScripts_; }

 protected:
  void describeState(std::vector<std::string>& parts) const override {
    parts.push_back("url = " + quoteForDescription(url_));
  }

 private:
  std::string url_;
  std::string title_;
  bool loading_ = false;
  std::function<std::string(const std::string&)> scriptHandler_;
  std::vector<std::string> evaluatedScripts_;
};

}  // namespace obx::platform
