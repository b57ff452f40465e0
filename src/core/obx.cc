#include "obx/facade.h"

#include "base/logger.h"
#include "core/core.h"
#include "lifecycle/view_properties.h"

namespace obx {
namespace {

// Nothing escapes into the host application.
template <typename Body>
void guarded(Body&& body) noexcept {
  try {
    body();
  } catch (...) {
  }
}

template <typename Result, typename Body>
Result guardedValue(Body&& body) noexcept {
  try {
    return body();
  } catch (...) {
    return Result{};
  }
}

}  // namespace

void OBX::initialize(const Configuration& configuration) noexcept {
  guarded([&] { Core::shared()->initialize(configuration, Platform::native()); });
}

LiveConfigurationMultiplatform OBX::initialize(const Configuration& configuration, const Platform& multiplatform,
                                               std::shared_ptr<OBXDelegate> obxDelegate) noexcept {
  return guardedValue<LiveConfigurationMultiplatform>(
      [&] { return Core::shared()->initialize(configuration, multiplatform, std::move(obxDelegate)); });
}

void OBX::startNewScreen(const std::string& name, bool disableRecordingOnThisScreen) noexcept {
  guarded([&] { Core::shared()->startNewScreen(name, disableRecordingOnThisScreen); });
}

void OBX::stopScreen() noexcept {
  guarded([] { Core::shared()->stopScreen(); });
}

void OBX::sendGoal(const std::string& goal, std::optional<float> value) noexcept {
  guarded([&] { Core::shared()->sendGoal(goal, value); });
}

void OBX::sendDimension(const std::string& dimension, const std::string& value) noexcept {
  guarded([&] { Core::shared()->sendDimension(dimension, value); });
}

void OBX::sendDimension(const std::string& dimension, const char* value) noexcept {
  guarded([&] { Core::shared()->sendDimension(dimension, std::string(value ? value : "")); });
}

void OBX::sendDimension(const std::string& dimension, bool value) noexcept {
  guarded([&] { Core::shared()->sendDimension(dimension, value); });
}

void OBX::sendDimension(const std::string& dimension, double value) noexcept {
  guarded([&] { Core::shared()->sendDimension(dimension, value); });
}

void OBX::sendError(const std::string& text) noexcept {
  guarded([&] { Core::shared()->sendError(text); });
}

void OBX::sendHTTPError(int statusCode) noexcept {
  guarded([&] { Core::shared()->sendHTTPError(statusCode); });
}

void OBX::formSuccess() noexcept {
  guarded([] { Core::shared()->formSuccess(); });
}

void OBX::formError(const std::string& error, const platform::View* field) noexcept {
  guarded([&] { Core::shared()->formError(error, field ? obxStringTag(*field) : std::nullopt); });
}

void OBX::setConsent(Consent consent) noexcept {
  guarded([&] { Core::shared()->setConsent(consent); });
}

void OBX::setRetention(bool value) noexcept {
  guarded([&] { Core::shared()->setRetention(value); });
}

void OBX::setImageQuality(ImageQualityType quality) noexcept {
  guarded([&] { Core::shared()->setImageQuality(quality); });
}

void OBX::setMaskingColor(const Color& color) noexcept {
  guarded([&] { Core::shared()->setMaskingColor(color); });
}

void OBX::enableAutoMasking(const std::vector<MaskAutomatic>& list) noexcept {
  guarded([&] { Core::shared()->enableAutoMasking(list); });
}

void OBX::disableAutoMasking(const std::vector<MaskAutomatic>& list) noexcept {
  guarded([&] { Core::shared()->disableAutoMasking(list); });
}

void OBX::setMaskingForCurrentScreen(const std::vector<MaskAutomatic>& list) noexcept {
  guarded([&] { Core::shared()->setMaskingForCurrentScreen(list); });
}

void OBX::captureURLParameters(bool value) noexcept {
  guarded([&] { Core::shared()->captureURLParameters(value); });
}

bool OBX::mobileDataEnable() noexcept {
  return guardedValue<bool>([] { return Core::shared()->mobileDataEnable(); });
}

void OBX::setMobileDataEnable(bool value) noexcept {
  guarded([&] { Core::shared()->setMobileDataEnable(value); });
}

std::optional<std::string> OBX::sessionId() noexcept {
  return guardedValue<std::optional<std::string>>([] { return Core::shared()->sessionId(); });
}

void OBX::setSessionURL(SessionURLCallback callback) noexcept {
  guarded([&] { Core::shared()->setSessionURLCallback(std::move(callback)); });
}

OBX::SessionURLCallback OBX::sessionURL() noexcept {
  return guardedValue<SessionURLCallback>([] { return Core::shared()->sessionURLCallback(); });
}

std::optional<std::string> OBX::webViewProperties() noexcept {
  return guardedValue<std::optional<std::string>>([] { return Core::shared()->webViewProperties(); });
}

std::optional<std::string> OBX::sdkVersion() noexcept {
  return guardedValue<std::optional<std::string>>([] { return Core::sdkVersion(); });
}

std::optional<std::string> OBX::appVersion() noexcept {
  return guardedValue<std::optional<std::string>>([] { return Core::appVersion(); });
}

void OBX::saveLog(const std::string& message) noexcept {
  guarded([&] { Logger::saveLog(message); });
}

}  // namespace obx
