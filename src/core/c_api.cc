#include "obx/obx.h"

#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "base/logger.h"
#include "core/c_delegate_adapter.h"
#include "core/c_host_main_queue.h"
#include "core/core.h"
#include "obx/facade.h"
#include "platform/dispatch/scheduler.h"

namespace {

std::string text(const char* value) { return value ? std::string(value) : std::string(); }

char* copyOut(const std::optional<std::string>& value) {
  if (!value) return nullptr;
  char* out = static_cast<char*>(std::malloc(value->size() + 1));
  if (!out) return nullptr;
  std::memcpy(out, value->c_str(), value->size() + 1);
  return out;
}

// The integer a C host stored in an enumeration field. A C host may store any integer there, and
// loading a value outside the enumeration's range as the enumeration is undefined in C++: it is
// read as its underlying integer instead.
template <typename Enumeration>
long long rawValue(const Enumeration& value) {
  std::underlying_type_t<Enumeration> raw;
  std::memcpy(&raw, &value, sizeof raw);
  return static_cast<long long>(raw);
}

std::optional<obx::Consent> consentFrom(long long consent) {
  switch (consent) {
    case OBX_CONSENT_ANALYTICS_AND_RECORDING: return obx::Consent::analyticsAndRecording;
    case OBX_CONSENT_ANALYTICS: return obx::Consent::analytics;
    case OBX_CONSENT_NONE: return obx::Consent::none;
  }
  return std::nullopt;
}

std::vector<obx::MaskAutomatic> masksFrom(const obx_mask_automatic* list, int32_t count) {
  std::vector<obx::MaskAutomatic> masks;
  for (int32_t i = 0; list && i < count; ++i) {
    const long long raw = rawValue(list[i]);
    if (raw < OBX_MASK_LABELS || raw > OBX_MASK_ALL) {
      obx::Logger::log("Ignored unknown masking category " + std::to_string(raw), obx::LogLevel::customer);
      continue;
    }
    masks.push_back(static_cast<obx::MaskAutomatic>(raw));
  }
  return masks;
}

std::optional<obx::Configuration> configurationFrom(const obx_configuration* c) {
  if (!c || !c->account || !c->property) {
    obx::Logger::log("OmbrixOBX cannot initialize without an account and a property", obx::LogLevel::public_);
    return std::nullopt;
  }
  auto consent = consentFrom(rawValue(c->consent));
  if (!consent) {
    obx::Logger::log("OmbrixOBX cannot initialize with an unknown consent " + std::to_string(rawValue(c->consent)),
                     obx::LogLevel::public_);
    return std::nullopt;
  }
  obx::Configuration configuration(c->account, c->property, *consent, c->crash_reporter_enabled,
                                   c->mobile_data_enable, c->manual_screen_tracking, c->enhanced_logs_enabled,
                                   c->network_analytics_enable);
  if (c->custom_base_url || c->custom_relay_url) {
    configuration.endpoint = obx::Endpoint::custom(text(c->custom_base_url), text(c->custom_relay_url));
  }
  return configuration;
}

// Settles who serves the main queue before the SDK starts, so that work it queues there at start-up
// already has a server. An unknown mode is logged and the SDK serves the queue itself.
void adoptMainQueue(const obx_configuration& c) {
  const long long raw = rawValue(c.main_queue);
  auto mode = obx::CHostMainQueue::Mode::sdkThread;
  if (raw == OBX_MAIN_QUEUE_HOST_DRAINS) {
    mode = obx::CHostMainQueue::Mode::hostDrains;
  } else if (raw != OBX_MAIN_QUEUE_SDK_THREAD) {
    obx::Logger::log("OmbrixOBX unknown main queue mode " + std::to_string(raw) + ", the SDK serves its main queue",
                     obx::LogLevel::public_);
  }
  try {
    obx::CHostMainQueue::shared().adopt(mode, obx::platform::defaultScheduler());
  } catch (...) {
    obx::Logger::log("OmbrixOBX could not start its main queue", obx::LogLevel::public_);
  }
}

}  // namespace

extern "C" {

void obx_initialize(const obx_configuration* configuration) {
  auto built = configurationFrom(configuration);
  if (!built) return;
  adoptMainQueue(*configuration);
  obx::OBX::initialize(*built);
}

void obx_initialize_multiplatform(const obx_configuration* configuration, const obx_platform* platform) {
  char* live = obx_initialize_multiplatform_with_delegate(configuration, platform, nullptr);
  std::free(live);
}

char* obx_initialize_multiplatform_with_delegate(const obx_configuration* configuration, const obx_platform* platform,
                                                 const obx_delegate* delegate) {
  // Installed first, so that nothing the SDK tells during start-up is missed.
  if (delegate) obx::CDelegateAdapter::shared()->setTable(delegate);
  auto built = configurationFrom(configuration);
  if (!built) return nullptr;
  obx::Platform host = obx::Platform::native();
  if (platform) {
    const long long rawType = rawValue(platform->type);
    if (rawType < OBX_PLATFORM_NATIVE || rawType > OBX_PLATFORM_REACT_NATIVE) {
      obx::Logger::log("OmbrixOBX unknown platform type " + std::to_string(rawType), obx::LogLevel::public_);
      return nullptr;
    }
    host.type = static_cast<obx::PlatformType>(rawType);
    host.version = text(platform->version);
    host.language = text(platform->language);
  }
  adoptMainQueue(*configuration);
  // The SDK always holds the one adapter; obx_set_delegate changes only what the adapter calls.
  auto live = obx::OBX::initialize(*built, host, obx::CDelegateAdapter::shared());
  try {
    return copyOut(obx::liveConfigurationJSON(live));
  } catch (...) {
    return nullptr;
  }
}

void obx_set_delegate(const obx_delegate* delegate) { obx::CDelegateAdapter::shared()->setTable(delegate); }

void obx_start_new_screen(const char* name, bool disable) { obx::OBX::startNewScreen(text(name), disable); }
void obx_stop_screen(void) { obx::OBX::stopScreen(); }
void obx_send_goal(const char* name) { obx::OBX::sendGoal(text(name)); }
void obx_send_goal_value(const char* name, float value) { obx::OBX::sendGoal(text(name), value); }
void obx_send_dimension_string(const char* name, const char* value) {
  obx::OBX::sendDimension(text(name), text(value));
}
void obx_send_dimension_bool(const char* name, bool value) { obx::OBX::sendDimension(text(name), value); }
void obx_send_dimension_double(const char* name, double value) { obx::OBX::sendDimension(text(name), value); }
void obx_send_error(const char* error) { obx::OBX::sendError(text(error)); }
void obx_send_http_error(int32_t status_code) { obx::OBX::sendHTTPError(status_code); }
void obx_form_success(void) { obx::OBX::formSuccess(); }
void obx_form_error(const char* error) { obx::OBX::formError(text(error)); }
void obx_form_error_selector(const char* error, const char* selector) {
  // The facade takes the field as a view; a C host has only its tag.
  try {
    obx::Core::shared()->formError(text(error), selector ? std::optional<std::string>(selector) : std::nullopt);
  } catch (...) {
  }
}

void obx_set_consent(obx_consent consent) {
  if (auto value = consentFrom(rawValue(consent))) {
    obx::OBX::setConsent(*value);
  } else {
    obx::Logger::log("Ignored unknown consent " + std::to_string(rawValue(consent)), obx::LogLevel::customer);
  }
}

void obx_set_retention(bool value) { obx::OBX::setRetention(value); }

void obx_set_image_quality(int32_t quality) {
  if (auto value = obx::imageQualityTypeFromRaw(quality)) {
    obx::OBX::setImageQuality(*value);
  } else {
    obx::Logger::log("Ignored unknown image quality " + std::to_string(quality), obx::LogLevel::customer);
  }
}

void obx_set_masking_color(double red, double green, double blue, double alpha) {
  obx::OBX::setMaskingColor(obx::Color{red, green, blue, alpha});
}

void obx_enable_auto_masking(const obx_mask_automatic* list, int32_t count) {
  obx::OBX::enableAutoMasking(masksFrom(list, count));
}

void obx_disable_auto_masking(const obx_mask_automatic* list, int32_t count) {
  obx::OBX::disableAutoMasking(masksFrom(list, count));
}

void obx_set_masking_for_current_screen(const obx_mask_automatic* list, int32_t count) {
  obx::OBX::setMaskingForCurrentScreen(masksFrom(list, count));
}

void obx_capture_url_parameters(bool value) { obx::OBX::captureURLParameters(value); }
void obx_set_mobile_data_enable(bool value) { obx::OBX::setMobileDataEnable(value); }
bool obx_mobile_data_enable(void) { return obx::OBX::mobileDataEnable(); }
char* obx_session_id(void) { return copyOut(obx::OBX::sessionId()); }
char* obx_session_url(void) {
  try {
    return copyOut(obx::Core::shared()->sessionURL());
  } catch (...) {
    return nullptr;
  }
}
char* obx_web_view_properties(void) { return copyOut(obx::OBX::webViewProperties()); }
char* obx_sdk_version(void) { return copyOut(obx::OBX::sdkVersion()); }
char* obx_app_version(void) { return copyOut(obx::OBX::appVersion()); }

void obx_set_session_url_callback(obx_session_url_callback callback, void* user_data) {
  if (!callback) {
    obx::OBX::setSessionURL(nullptr);
    return;
  }
  obx::OBX::setSessionURL([callback, user_data](const std::optional<std::string>& url) {
    callback(user_data, url ? url->c_str() : nullptr);
  });
}
void obx_save_log(const char* message) { obx::OBX::saveLog(text(message)); }
void obx_string_free(char* value) { std::free(value); }

int32_t obx_main_queue_drain(void) {
  try {
    return static_cast<int32_t>(obx::CHostMainQueue::shared().drain());
  } catch (...) {
    return 0;
  }
}

}  // extern "C"
