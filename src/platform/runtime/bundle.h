// Bundle: where a class's code comes from, as the platform's bundles tell it. Every class belongs
// to one bundle: the application's main bundle unless it was registered with another. The
// declarative-UI framework's bundle holds the hosting controllers of declarative screens; its URL
// ends in "SwiftUI.framework", which is how the screen detection tells those controllers apart.
#pragma once

#include <memory>
#include <string>

namespace obx::platform {

class Class;

class Bundle {
 public:
  explicit Bundle(std::string bundleURL, std::string bundleIdentifier = {})
      : bundleURL_(std::move(bundleURL)), bundleIdentifier_(std::move(bundleIdentifier)) {}

  // The bundle of the running application.
  static std::shared_ptr<const Bundle> mainBundle();
  // The bundle of the declarative-UI framework, home of the hosting controllers.
  static std::shared_ptr<const Bundle> declarativeUIBundle();
  // `bundleForClass`: the bundle `cls` was registered with; the main bundle for null.
  static std::shared_ptr<const Bundle> bundleForClass(const Class* cls);

  // A file URL path, e.g. "/Applications/Host.app" or ".../Frameworks/SwiftUI.framework".
  const std::string& bundleURL() const { return bundleURL_; }
  const std::string& bundleIdentifier() const { return bundleIdentifier_; }

 private:
  std::string bundleURL_;
  std::string bundleIdentifier_;
};

}  // namespace obx::platform
