// The public configuration an application hands to OBX::initialize.
#pragma once

#include <string>

#include "obx/enums.h"

namespace obx {

// Where the SDK sends its data. Each plain case is a fixed pair of hosts chosen when the SDK is
// built: a collection host and a portal host whose session pages lie under "Sessions/View/".
// `custom` names the collection host and the session URL prefix directly.
class Endpoint {
 public:
  enum class Kind { production, staging, sigma, omega, kappa, iota, custom };

  static Endpoint production() { return Endpoint(Kind::production); }
  static Endpoint staging() { return Endpoint(Kind::staging); }
  static Endpoint sigma() { return Endpoint(Kind::sigma); }
  static Endpoint omega() { return Endpoint(Kind::omega); }
  static Endpoint kappa() { return Endpoint(Kind::kappa); }
  static Endpoint iota() { return Endpoint(Kind::iota); }
  static Endpoint custom(std::string baseURL, std::string relayURL) {
    Endpoint endpoint(Kind::custom);
    endpoint.baseURL_ = std::move(baseURL);
    endpoint.relayURL_ = std::move(relayURL);
    return endpoint;
  }

  Kind kind() const { return kind_; }
  // The collection host, without a trailing slash for plain cases.
  std::string collectionHost() const;
  // What a session's path is appended to: the portal host with "Sessions/View/", or `relayURL`.
  std::string sessionURLPrefix() const;
  bool operator==(const Endpoint&) const = default;

 private:
  explicit Endpoint(Kind kind) : kind_(kind) {}
  Kind kind_;
  std::string baseURL_;
  std::string relayURL_;
};

class Configuration {
 public:
  Configuration(std::string account, std::string property, Consent consent, bool crashReporterEnabled,
                bool mobileDataEnable, bool manualScreenTracking, bool enhancedLogsEnabled,
                bool networkAnalyticsEnable)
      : consent(consent),
        crashReporterEnabled(crashReporterEnabled),
        mobileDataEnable(mobileDataEnable),
        manualScreenTracking(manualScreenTracking),
        networkAnalytics(networkAnalyticsEnable),
        logLevel(enhancedLogsEnabled ? LogLevel::customer : LogLevel::public_),
        account_(std::move(account)),
        property_(std::move(property)) {}

  const std::string& account() const { return account_; }
  const std::string& property() const { return property_; }

  Consent consent;
  bool crashReporterEnabled;
  bool mobileDataEnable;
  bool sessionReplayEnabled = true;
  bool manualScreenTracking;
  bool networkAnalytics;
  Endpoint endpoint = Endpoint::production();
  SessionReplayMode sessionReplayMode = SessionReplayMode::automatic;
  LogLevel logLevel;

 private:
  std::string account_;
  std::string property_;
};

enum class PlatformType { native, flutter, xamarin, reactNative };

// The kind of host: a native application, or a multiplatform framework with its version.
struct Platform {
  PlatformType type = PlatformType::native;
  std::string version;
  std::string language = "Swift";

  // The platform a plain `initialize` reports. Settable by the host before initializing.
  static Platform& native();
  bool operator==(const Platform&) const = default;
};

}  // namespace obx
