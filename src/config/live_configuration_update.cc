// The live layer of SDKConfiguration: a received document, the fallback to the cached one, and the
// restore at start.
#include <nlohmann/json.hpp>

#include "base/logger.h"
#include "config/sdk_configuration.h"
#include "config/live_configuration_multiplatform.h"
#include "config/session_configuration.h"

namespace obx {
namespace {

std::string boolText(bool value) { return value ? "true" : "false"; }

}  // namespace

std::optional<LiveConfiguration> SDKConfiguration::readCachedLiveConfiguration() const {
  if (!cache_) return std::nullopt;
  auto data = cache_->read(common().configurationFileName);
  if (!data) return std::nullopt;
  return decodeLiveConfiguration(*data);
}

void SDKConfiguration::saveCachedLiveConfiguration(const LiveConfiguration& live) const {
  if (!cache_) return;
  std::string text = encodeLiveConfiguration(live);
  cache_->save(common().configurationFileName, std::vector<std::uint8_t>(text.begin(), text.end()));
}

void SDKConfiguration::applyLogSwitches() {
  Common current = common();
  Logger::setShowLocalLogs(current.showLocalLogs.value_or(false));
  Logger::setAllowLogs(current.allowLogs.value_or(false));
}

void SDKConfiguration::updateLiveConfiguration(const SessionConfiguration& document) {
  editCommon([](Common& common) { common.isLiveConfigFinished = true; });
  LiveConfiguration live = document.toLiveConfiguration();
  editLiveConfiguration([&](LiveConfiguration& stored) { stored = live; });
  applyLiveConfiguration();
  applyLogSwitches();
  if (Logger::showLocalLogs() || Logger::allowLogs()) {
    try {
      auto pretty = nlohmann::json::parse(encodeLiveConfiguration(live)).dump(4);
      Logger::log("OmbrixOBX Live configuration: \n" + pretty + "\n", LogLevel::qa);
    } catch (...) {
    }
  }
  saveCachedLiveConfiguration(live);
  Common current = common();
  Logger::log("Sampling for collect experience data: " + boolText(obx::shouldCollectExperienceData(current)),
              LogLevel::qa);
  Logger::log("Sampling for collect analysis data: " + boolText(obx::shouldCollectExperienceData(current)),
              LogLevel::qa);
  Logger::log("Sampling for collect replay data: " + boolText(obx::shouldCollectReplayData(current)), LogLevel::qa);
  applyLogLevel();
  if (auto delegate = this->delegate()) delegate->liveConfig(toMultiplatform(live));
}

void SDKConfiguration::fallBackToCachedConfiguration() {
  if (auto cached = readCachedLiveConfiguration()) {
    editCommon([](Common& common) { common.isLiveConfigFinished = true; });
    editLiveConfiguration([&](LiveConfiguration& stored) { stored = *cached; });
    applyLiveConfiguration();
    return;
  }
  SessionConfiguration empty;
  empty.showLocalLogs = false;
  empty.allowLogs = false;
  empty.keepVideoData = false;
  empty.enableAnalytics = true;
  updateLiveConfiguration(empty);
}

void SDKConfiguration::restoreLiveConfiguration() {
  auto cached = readCachedLiveConfiguration();
  if (!cached) return;
  editLiveConfiguration([&](LiveConfiguration& stored) { stored = *cached; });
  applyLiveConfiguration();
  applyLogSwitches();
}

}  // namespace obx
