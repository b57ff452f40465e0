#include "core/session_configuration.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace obx {
namespace {

using nlohmann::json;

struct DecodeError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

const json* find(const json& object, const char* key) {
  auto found = object.find(key);
  if (found == object.end() || found->is_null()) return nullptr;
  return &*found;
}

void read(const json& object, const char* key, std::optional<int>& out) {
  const json* value = find(object, key);
  if (!value) return;
  if (value->is_number_integer()) {
    out = value->get<int>();
  } else if (value->is_number_float() && std::trunc(value->get<double>()) == value->get<double>()) {
    out = static_cast<int>(value->get<double>());
  } else {
    throw DecodeError(std::string(key) + " is not an integer");
  }
}

void read(const json& object, const char* key, std::optional<double>& out) {
  const json* value = find(object, key);
  if (!value) return;
  if (!value->is_number()) throw DecodeError(std::string(key) + " is not a number");
  out = value->get<double>();
}

void read(const json& object, const char* key, std::optional<bool>& out) {
  const json* value = find(object, key);
  if (!value) return;
  if (!value->is_boolean()) throw DecodeError(std::string(key) + " is not a Bool");
  out = value->get<bool>();
}

void read(const json& object, const char* key, std::optional<std::string>& out) {
  const json* value = find(object, key);
  if (!value) return;
  if (!value->is_string()) throw DecodeError(std::string(key) + " is not a string");
  out = value->get<std::string>();
}

void read(const json& object, const char* key, std::optional<StringList>& out) {
  const json* value = find(object, key);
  if (!value) return;
  if (!value->is_array()) throw DecodeError(std::string(key) + " is not a list");
  StringList list;
  for (const json& item : *value) {
    if (!item.is_string()) throw DecodeError(std::string(key) + " holds a value that is not a string");
    list.push_back(item.get<std::string>());
  }
  out = std::move(list);
}

template <typename Enum>
void readEnum(const json& object, const char* key, std::optional<Enum>& out,
              std::optional<Enum> (*fromRaw)(int)) {
  std::optional<int> raw;
  read(object, key, raw);
  if (!raw) return;
  out = fromRaw(*raw);
  if (!out) throw DecodeError(std::string(key) + " is out of range: " + std::to_string(*raw));
}

template <typename T>
void write(json& object, const char* key, const std::optional<T>& value) {
  if (value) object[key] = *value;
}

template <typename Enum>
void writeEnum(json& object, const char* key, const std::optional<Enum>& value) {
  if (value) object[key] = static_cast<int>(*value);
}

}  // namespace

std::optional<SessionConfiguration> SessionConfiguration::decode(const std::string& text, std::string* error) {
  try {
    json object = json::parse(text);
    if (!object.is_object()) throw DecodeError("the document is not an object");
    SessionConfiguration c;
    readEnum(object, "qv_experienceDataSampleMethod", c.experienceDataSampleMethod, samplingMethodFromRaw);
    readEnum(object, "qv_analysisDataSampleMethod", c.analysisDataSampleMethod, samplingMethodFromRaw);
    readEnum(object, "qv_replayDataSampleMethod", c.replayDataSampleMethod, samplingMethodFromRaw);
    readEnum(object, "qv_sessCookieFlags", c.sessionCookieFlags, samplingFlagsFromRaw);
    readEnum(object, "qv_leadCookieFlags", c.leadCookieFlags, samplingFlagsFromRaw);
    readEnum(object, "analysisSessFlags", c.analysisSessionFlags, samplingFlagsFromRaw);
    readEnum(object, "analysisLeadFlags", c.analysisLeadFlags, samplingFlagsFromRaw);
    readEnum(object, "replaySessFlags", c.replaySessionFlags, samplingFlagsFromRaw);
    readEnum(object, "replayLeadFlags", c.replayLeadFlags, samplingFlagsFromRaw);
    read(object, "qv_ipHandling", c.ipHandling);
    read(object, "dst_disableScreenTracking", c.disableScreenTracking);
    read(object, "dst_screenMasking", c.screensMasking);
    read(object, "dst_forceHiFi", c.forceHiFi);
    read(object, "dst_forceLoFi", c.forceLoFi);
    readEnum(object, "vs_imageQuality", c.imageQuality, imageQualityTypeFromRaw);
    readEnum(object, "vs_videoQuality", c.videoQuality, videoQualityTypeFromRaw);
    read(object, "vs_screenMaxDuration", c.maxScreenDuration);
    read(object, "vs_screenshotMaxCount", c.maxScreenshots);
    read(object, "vs_recordVideoInForeground", c.recordVideoInForeground);
    read(object, "qv_sessionTimeout", c.sessionTimeout);
    read(object, "m_maskingColor", c.maskingColor);
    read(object, "qv_showLocalLogs", c.showLocalLogs);
    read(object, "qv_allowLogs", c.allowLogs);
    read(object, "vc_blockediOSSDKVersions", c.sdkVersionsBlocked);
    read(object, "vc_blockediOSAppVersions", c.appVersionsBlocked);
    read(object, "msc_keepVideoData", c.keepVideoData);
    read(object, "msc_maxMemoryUsage", c.maxMemoryUsage);
    read(object, "msc_maxCPUUsage", c.maxCPUUsage);
    read(object, "msc_enableAnalytics", c.enableAnalytics);
    read(object, "msc_overrideUserConfigs", c.overrideUserConfig);
    read(object, "vc_blockedFlutterSDKVersions", c.blockedFlutterSDKVersions);
    read(object, "vc_blockedFlutterAppVersions", c.blockedFlutterAppVersions);
    read(object, "vc_blockedReactNativeSDKVersions", c.blockedRNSDKVersions);
    read(object, "vc_blockedReactNativeAppVersions", c.blockedRNAppVersions);
    read(object, "dst_bufferDuration", c.bufferDuration);
    read(object, "dst_forceWireframe", c.forceWireframe);
    read(object, "vs_enableRecording", c.enableRecording);
    read(object, "msc_overrideCollectionURL", c.overrideCollectionURL);
    read(object, "msc_timeToLive", c.timeToLive);
    read(object, "msc_allowBridgeCommunication", c.allowBridgeCommunication);
    return c;
  } catch (const std::exception& failure) {
    if (error) *error = failure.what();
    return std::nullopt;
  }
}

LiveConfiguration SessionConfiguration::toLiveConfiguration() const {
  LiveConfiguration live;
  live.ipHandling = ipHandling;
  live.useLiveConfiguration = overrideUserConfig.value_or(false);
  live.batchTime = bufferDuration;
  live.maxTimeFileSaved = timeToLive ? static_cast<double>(*timeToLive) * 60 * 60 * 24 : 1296000.0;
  live.experienceDataSampleMethod = experienceDataSampleMethod;
  live.sessionCookieFlags = sessionCookieFlags;
  live.leadCookieFlags = leadCookieFlags;
  live.analysisDataSampleMethod = analysisDataSampleMethod;
  live.analysisSessionFlags = analysisSessionFlags;
  live.analysisLeadFlags = analysisLeadFlags;
  live.replayDataSampleMethod = replayDataSampleMethod;
  live.replaySessionFlags = replaySessionFlags;
  live.replayLeadFlags = replayLeadFlags;
  live.disableScreenTracking = disableScreenTracking;
  live.screensMasking = screensMasking;
  live.forceHiFi = forceHiFi;
  live.forceLoFi = forceLoFi;
  live.imageQualityType = imageQuality;
  live.videoQualityType = videoQuality;
  live.maxScreenDuration = maxScreenDuration;
  live.maxScreenshots = maxScreenshots;
  live.recordVideoInForeground = recordVideoInForeground;
  live.sessionTimeout = sessionTimeout;
  live.maskingColor = maskingColor;
  live.showLocalLogs = showLocalLogs;
  live.allowLogs = allowLogs;
  live.sdkVersionsBlocked = sdkVersionsBlocked;
  live.appVersionsBlocked = appVersionsBlocked;
  live.keepVideoData = keepVideoData;
  live.maxMemoryUsage = maxMemoryUsage;
  live.maxCPUUsage = maxCPUUsage;
  live.enableAnalytics = enableAnalytics;
  live.blockedFlutterSDKVersions = blockedFlutterSDKVersions;
  live.blockedFlutterAppVersions = blockedFlutterAppVersions;
  live.blockedRNSDKVersions = blockedRNSDKVersions;
  live.blockedRNAppVersions = blockedRNAppVersions;
  live.forceWireframe = forceWireframe;
  live.enableRecording = enableRecording;
  live.overrideCollectionURL = overrideCollectionURL;
  live.allowBridgeCommunication = allowBridgeCommunication.value_or(true);
  return live;
}

std::string encodeLiveConfiguration(const LiveConfiguration& l) {
  json o = json::object();
  write(o, "ipHandling", l.ipHandling);
  o["useLiveConfiguration"] = l.useLiveConfiguration;
  write(o, "batchTime", l.batchTime);
  write(o, "maxTimeFileSaved", l.maxTimeFileSaved);
  writeEnum(o, "experienceDataSampleMethod", l.experienceDataSampleMethod);
  writeEnum(o, "sessionCookieFlags", l.sessionCookieFlags);
  writeEnum(o, "leadCookieFlags", l.leadCookieFlags);
  writeEnum(o, "analysisDataSampleMethod", l.analysisDataSampleMethod);
  writeEnum(o, "analysisSessionFlags", l.analysisSessionFlags);
  writeEnum(o, "analysisLeadFlags", l.analysisLeadFlags);
  writeEnum(o, "replayDataSampleMethod", l.replayDataSampleMethod);
  writeEnum(o, "replaySessionFlags", l.replaySessionFlags);
  writeEnum(o, "replayLeadFlags", l.replayLeadFlags);
  write(o, "disableScreenTracking", l.disableScreenTracking);
  write(o, "screensMasking", l.screensMasking);
  write(o, "forceHiFi", l.forceHiFi);
  write(o, "forceLoFi", l.forceLoFi);
  writeEnum(o, "imageQualityType", l.imageQualityType);
  writeEnum(o, "videoQualityType", l.videoQualityType);
  write(o, "maxScreenDuration", l.maxScreenDuration);
  write(o, "maxScreenshots", l.maxScreenshots);
  write(o, "recordVideoInForeground", l.recordVideoInForeground);
  write(o, "sessionTimeout", l.sessionTimeout);
  write(o, "maskingColor", l.maskingColor);
  write(o, "showLocalLogs", l.showLocalLogs);
  write(o, "allowLogs", l.allowLogs);
  write(o, "sdkVersionsBlocked", l.sdkVersionsBlocked);
  write(o, "appVersionsBlocked", l.appVersionsBlocked);
  write(o, "keepVideoData", l.keepVideoData);
  write(o, "maxMemoryUsage", l.maxMemoryUsage);
  write(o, "maxCPUUsage", l.maxCPUUsage);
  write(o, "enableAnalytics", l.enableAnalytics);
  write(o, "blockedFlutterSDKVersions", l.blockedFlutterSDKVersions);
  write(o, "blockedFlutterAppVersions", l.blockedFlutterAppVersions);
  write(o, "blockedRNSDKVersions", l.blockedRNSDKVersions);
  write(o, "blockedRNAppVersions", l.blockedRNAppVersions);
  write(o, "forceWireframe", l.forceWireframe);
  write(o, "enableRecording", l.enableRecording);
  write(o, "overrideCollectionURL", l.overrideCollectionURL);
  write(o, "allowBridgeCommunication", l.allowBridgeCommunication);
  return o.dump();
}

std::optional<LiveConfiguration> decodeLiveConfiguration(const std::string& text) {
  try {
    json o = json::parse(text);
    if (!o.is_object()) return std::nullopt;
    LiveConfiguration l;
    const json* use = find(o, "useLiveConfiguration");
    if (!use || !use->is_boolean()) return std::nullopt;
    l.useLiveConfiguration = use->get<bool>();
    read(o, "ipHandling", l.ipHandling);
    read(o, "batchTime", l.batchTime);
    read(o, "maxTimeFileSaved", l.maxTimeFileSaved);
    readEnum(o, "experienceDataSampleMethod", l.experienceDataSampleMethod, samplingMethodFromRaw);
    readEnum(o, "sessionCookieFlags", l.sessionCookieFlags, samplingFlagsFromRaw);
    readEnum(o, "leadCookieFlags", l.leadCookieFlags, samplingFlagsFromRaw);
    readEnum(o, "analysisDataSampleMethod", l.analysisDataSampleMethod, samplingMethodFromRaw);
    readEnum(o, "analysisSessionFlags", l.analysisSessionFlags, samplingFlagsFromRaw);
    readEnum(o, "analysisLeadFlags", l.analysisLeadFlags, samplingFlagsFromRaw);
    readEnum(o, "replayDataSampleMethod", l.replayDataSampleMethod, samplingMethodFromRaw);
    readEnum(o, "replaySessionFlags", l.replaySessionFlags, samplingFlagsFromRaw);
    readEnum(o, "replayLeadFlags", l.replayLeadFlags, samplingFlagsFromRaw);
    read(o, "disableScreenTracking", l.disableScreenTracking);
    read(o, "screensMasking", l.screensMasking);
    read(o, "forceHiFi", l.forceHiFi);
    read(o, "forceLoFi", l.forceLoFi);
    readEnum(o, "imageQualityType", l.imageQualityType, imageQualityTypeFromRaw);
    readEnum(o, "videoQualityType", l.videoQualityType, videoQualityTypeFromRaw);
    read(o, "maxScreenDuration", l.maxScreenDuration);
    read(o, "maxScreenshots", l.maxScreenshots);
    read(o, "recordVideoInForeground", l.recordVideoInForeground);
    read(o, "sessionTimeout", l.sessionTimeout);
    read(o, "maskingColor", l.maskingColor);
    read(o, "showLocalLogs", l.showLocalLogs);
    read(o, "allowLogs", l.allowLogs);
    read(o, "sdkVersionsBlocked", l.sdkVersionsBlocked);
    read(o, "appVersionsBlocked", l.appVersionsBlocked);
    read(o, "keepVideoData", l.keepVideoData);
    read(o, "maxMemoryUsage", l.maxMemoryUsage);
    read(o, "maxCPUUsage", l.maxCPUUsage);
    read(o, "enableAnalytics", l.enableAnalytics);
    read(o, "blockedFlutterSDKVersions", l.blockedFlutterSDKVersions);
    read(o, "blockedFlutterAppVersions", l.blockedFlutterAppVersions);
    read(o, "blockedRNSDKVersions", l.blockedRNSDKVersions);
    read(o, "blockedRNAppVersions", l.blockedRNAppVersions);
    read(o, "forceWireframe", l.forceWireframe);
    read(o, "enableRecording", l.enableRecording);
    read(o, "overrideCollectionURL", l.overrideCollectionURL);
    read(o, "allowBridgeCommunication", l.allowBridgeCommunication);
    return l;
  } catch (...) {
    return std::nullopt;
  }
}

}  // namespace obx
