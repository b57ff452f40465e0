#include "config/build_settings.h"
#include "obx/configuration.h"

namespace obx {

namespace {
struct Hosts {
  const char* collection;
  const char* portal;
};

Hosts hostsOf(Endpoint::Kind kind) {
  switch (kind) {
    case Endpoint::Kind::production: return {build::kHostProduction, build::kPortalProduction};
    case Endpoint::Kind::staging: return {build::kHostStaging, build::kPortalStaging};
    case Endpoint::Kind::sigma: return {build::kHostSigma, build::kPortalSigma};
    case Endpoint::Kind::omega: return {build::kHostOmega, build::kPortalOmega};
    case Endpoint::Kind::kappa: return {build::kHostKappa, build::kPortalKappa};
    case Endpoint::Kind::iota: return {build::kHostIota, build::kPortalIota};
    case Endpoint::Kind::custom: break;
  }
  return {"", ""};
}
}  // namespace

std::string Endpoint::collectionHost() const {
  if (kind_ == Kind::custom) return baseURL_;
  return hostsOf(kind_).collection;
}

std::string Endpoint::sessionURLPrefix() const {
  if (kind_ == Kind::custom) return relayURL_;
  return std::string(hostsOf(kind_).portal) + "Sessions/View/";
}

Platform& Platform::native() {
  static auto* value = new Platform{PlatformType::native, "", "Swift"};
  return *value;
}

}  // namespace obx
