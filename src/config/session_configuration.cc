#include "config/session_configuration.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <type_traits>

#include "base/json_nesting.h"
#include "base/logger.h"

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
  constexpr auto kMin = std::numeric_limits<int>::min();
  constexpr auto kMax = std::numeric_limits<int>::max();
  // A value beyond 32 bits is refused, not cut down: 4294967297 must not read as 1.
  auto outOfRange = [&] { return DecodeError(std::string(key) + " is out of range: " + value->dump()); };
  if (value->is_number_unsigned()) {
    if (value->get<std::uint64_t>() > static_cast<std::uint64_t>(kMax)) throw outOfRange();
    out = static_cast<int>(value->get<std::uint64_t>());
  } else if (value->is_number_integer()) {
    const std::int64_t number = value->get<std::int64_t>();
    if (number < kMin || number > kMax) throw outOfRange();
    out = static_cast<int>(number);
  } else if (value->is_number_float() && std::trunc(value->get<double>()) == value->get<double>()) {
    const double number = value->get<double>();
    if (number < static_cast<double>(kMin) || number > static_cast<double>(kMax)) throw outOfRange();
    out = static_cast<int>(number);
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
    if (!jsonNestingWithin(text)) throw DecodeError("the document nests deeper than the configuration can");
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
  // A cycle of no length would cut batches without pause: such a value keeps the batch time in use.
  if (bufferDuration && *bufferDuration > 0) {
    live.batchTime = bufferDuration;
  } else if (bufferDuration) {
    Logger::log("Live configuration dst_bufferDuration " + json(*bufferDuration).dump() +
                    " is not a positive number of seconds; the batch time stays as it is",
                LogLevel::qa);
  }
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

namespace {

// Every optional field of the stored form under its own name, for the encoder and the decoder alike.
template <typename Live, typename Visit>
void forEachOptionalField(Live& live, Visit&& visit) {
  visit("ipHandling", live.ipHandling);
  visit("batchTime", live.batchTime);
  visit("maxTimeFileSaved", live.maxTimeFileSaved);
  visit("experienceDataSampleMethod", live.experienceDataSampleMethod);
  visit("sessionCookieFlags", live.sessionCookieFlags);
  visit("leadCookieFlags", live.leadCookieFlags);
  visit("analysisDataSampleMethod", live.analysisDataSampleMethod);
  visit("analysisSessionFlags", live.analysisSessionFlags);
  visit("analysisLeadFlags", live.analysisLeadFlags);
  visit("replayDataSampleMethod", live.replayDataSampleMethod);
  visit("replaySessionFlags", live.replaySessionFlags);
  visit("replayLeadFlags", live.replayLeadFlags);
  visit("disableScreenTracking", live.disableScreenTracking);
  visit("screensMasking", live.screensMasking);
  visit("forceHiFi", live.forceHiFi);
  visit("forceLoFi", live.forceLoFi);
  visit("imageQualityType", live.imageQualityType);
  visit("videoQualityType", live.videoQualityType);
  visit("maxScreenDuration", live.maxScreenDuration);
  visit("maxScreenshots", live.maxScreenshots);
  visit("recordVideoInForeground", live.recordVideoInForeground);
  visit("sessionTimeout", live.sessionTimeout);
  visit("maskingColor", live.maskingColor);
  visit("showLocalLogs", live.showLocalLogs);
  visit("allowLogs", live.allowLogs);
  visit("sdkVersionsBlocked", live.sdkVersionsBlocked);
  visit("appVersionsBlocked", live.appVersionsBlocked);
  visit("keepVideoData", live.keepVideoData);
  visit("maxMemoryUsage", live.maxMemoryUsage);
  visit("maxCPUUsage", live.maxCPUUsage);
  visit("enableAnalytics", live.enableAnalytics);
  visit("blockedFlutterSDKVersions", live.blockedFlutterSDKVersions);
  visit("blockedFlutterAppVersions", live.blockedFlutterAppVersions);
  visit("blockedRNSDKVersions", live.blockedRNSDKVersions);
  visit("blockedRNAppVersions", live.blockedRNAppVersions);
  visit("forceWireframe", live.forceWireframe);
  visit("enableRecording", live.enableRecording);
  visit("overrideCollectionURL", live.overrideCollectionURL);
  visit("allowBridgeCommunication", live.allowBridgeCommunication);
}

void readField(const json& object, const char* key, std::optional<SamplingMethod>& out) {
  readEnum(object, key, out, samplingMethodFromRaw);
}
void readField(const json& object, const char* key, std::optional<SamplingFlags>& out) {
  readEnum(object, key, out, samplingFlagsFromRaw);
}
void readField(const json& object, const char* key, std::optional<ImageQualityType>& out) {
  readEnum(object, key, out, imageQualityTypeFromRaw);
}
void readField(const json& object, const char* key, std::optional<VideoQualityType>& out) {
  readEnum(object, key, out, videoQualityTypeFromRaw);
}
template <typename T>
void readField(const json& object, const char* key, std::optional<T>& out) {
  read(object, key, out);
}

template <typename T>
void writeField(json& object, const char* key, const std::optional<T>& value) {
  if constexpr (std::is_enum_v<T>) {
    writeEnum(object, key, value);
  } else {
    write(object, key, value);
  }
}

}  // namespace

std::string encodeLiveConfiguration(const LiveConfiguration& live) {
  json object = json::object();
  object["useLiveConfiguration"] = live.useLiveConfiguration;
  forEachOptionalField(live, [&](const char* key, const auto& field) { writeField(object, key, field); });
  return object.dump();
}

std::optional<LiveConfiguration> decodeLiveConfiguration(const std::string& text) {
  try {
    if (!jsonNestingWithin(text)) return std::nullopt;
    json object = json::parse(text);
    if (!object.is_object()) return std::nullopt;
    LiveConfiguration live;
    const json* use = find(object, "useLiveConfiguration");
    if (!use || !use->is_boolean()) return std::nullopt;
    live.useLiveConfiguration = use->get<bool>();
    forEachOptionalField(live, [&](const char* key, auto& field) { readField(object, key, field); });
    return live;
  } catch (...) {
    return std::nullopt;
  }
}

}  // namespace obx
