// WebView: a view showing a web page. Loading is the host's affair; the view keeps the address and
// title, and runs scripts through a handler the host installs. Main queue only.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/graphics/text_drawing.h"
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
  void setTitle(std::string title) {
    title_ = std::move(title);
    visualStateChanged();
  }
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
  // The page as the web engine paints it: a white page with its title and address.
  bool hasContents() const override { return true; }
  BitmapKind contentsKind() const override { return BitmapKind::image; }
  void drawRect(BitmapContext& context, Rect bounds) const override {
    context.fillRect(bounds, Color{1, 1, 1, 1});
    TextStyle style;
    style.fontSize = 20;
    style.numberOfLines = 0;
    drawText(context, title_, Rect{{8, 8}, {bounds.size.width - 16, 40}}, style);
    style.fontSize = 12;
    style.color = Color{0.2, 0.2, 0.6, 1};
    drawText(context, url_, Rect{{8, 52}, {bounds.size.width - 16, 20}}, style);
  }

 private:
  std::string url_;
  std::string title_;
  bool loading_ = false;
  std::function<std::string(const std::string&)> scriptHandler_;
  std::vector<std::string> evaluatedScripts_;
};

}  // namespace obx::platform
