// OBX: the SDK's only entry point for an application. Every operation is static, may be called from
// any thread, never throws and never waits on the SDK's queues. Before initialize() each operation
// is harmless: sends only log, setters do nothing (mobileDataEnable and sessionURL are remembered).
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "obx/color.h"
#include "obx/configuration.h"
#include "obx/delegate.h"
#include "obx/enums.h"

namespace obx {

namespace platform {
class View;
}  // namespace platform

class OBX {
 public:
  OBX() = delete;

  static void initialize(const Configuration& configuration) noexcept;
  // For multiplatform hosts: their platform, and a delegate that receives the live configuration,
  // performance and sampling decisions.
  static LiveConfigurationMultiplatform initialize(const Configuration& configuration, const Platform& multiplatform,
                                                   std::shared_ptr<OBXDelegate> obxDelegate) noexcept;

  static void startNewScreen(const std::string& name, bool disableRecordingOnThisScreen = false) noexcept;
  static void stopScreen() noexcept;

  // A goal, with a value when given: sendGoal("bought", 4.5f), 4.5 and 4 all give the value 4.5 or 4.
  static void sendGoal(const std::string& goal, std::optional<float> value = std::nullopt) noexcept;
  // A custom dimension, with a text, a Bool or a number as its value.
  static void sendDimension(const std::string& dimension, const std::string& value) noexcept;
  static void sendDimension(const std::string& dimension, const char* value) noexcept;
  static void sendDimension(const std::string& dimension, bool value) noexcept;
  static void sendDimension(const std::string& dimension, double value) noexcept;
  static void sendError(const std::string& text) noexcept;
  static void sendHTTPError(int statusCode) noexcept;
  static void formSuccess() noexcept;
  // A failed submission; `field`, when given, is the view at fault, whose obxStringTag names it.
  static void formError(const std::string& error, const platform::View* field = nullptr) noexcept;

  static void setConsent(Consent consent) noexcept;
  static void setRetention(bool value) noexcept;
  static void setImageQuality(ImageQualityType quality) noexcept;
  static void setMaskingColor(const Color& color) noexcept;
  static void enableAutoMasking(const std::vector<MaskAutomatic>& list) noexcept;
  static void disableAutoMasking(const std::vector<MaskAutomatic>& list) noexcept;
  // Masks these categories on the screen being recorded next, on top of the configured ones; does
  // nothing before `initialize`.
  static void setMaskingForCurrentScreen(const std::vector<MaskAutomatic>& list) noexcept;
  static void captureURLParameters(bool value) noexcept;

  static bool mobileDataEnable() noexcept;
  static void setMobileDataEnable(bool value) noexcept;

  static std::optional<std::string> sessionId() noexcept;
  // Called with the session's portal link once the live configuration has arrived, and at each new
  // session. Setting it after that calls it at once.
  using SessionURLCallback = std::function<void(const std::optional<std::string>&)>;
  static void setSessionURL(SessionURLCallback callback) noexcept;
  static SessionURLCallback sessionURL() noexcept;

  static std::optional<std::string> webViewProperties() noexcept;
  static std::optional<std::string> sdkVersion() noexcept;
  static std::optional<std::string> appVersion() noexcept;

  static void saveLog(const std::string& message) noexcept;
};

}  // namespace obx
