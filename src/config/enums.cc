#include "obx/enums.h"

namespace obx {

std::string toString(Consent value) {
  switch (value) {
    case Consent::analyticsAndRecording: return "analyticsAndRecording";
    case Consent::analytics: return "analytics";
    case Consent::none: return "none";
  }
  return "none";
}

std::string toString(SessionReplayMode value) {
  switch (value) {
    case SessionReplayMode::hiFi: return "hiFi";
    case SessionReplayMode::loFi: return "loFi";
    case SessionReplayMode::automatic: return "automatic";
  }
  return "automatic";
}

namespace {
std::string qualityName(int raw) {
  switch (raw) {
    case 0: return "poor";
    case 1: return "low";
    case 2: return "average";
    case 3: return "high";
    case 4: return "ultra";
  }
  return "average";
}
}  // namespace

std::string toString(ImageQualityType value) { return qualityName(static_cast<int>(value)); }
std::string toString(VideoQualityType value) { return qualityName(static_cast<int>(value)); }

std::string toString(SamplingMethod value) {
  switch (value) {
    case SamplingMethod::unexpected: return "unexpected";
    case SamplingMethod::random: return "random";
    case SamplingMethod::weighted: return "weighted";
    case SamplingMethod::purposeful: return "purposeful";
  }
  return "unexpected";
}

std::string toString(SamplingFlags value) {
  switch (value) {
    case SamplingFlags::unexpected: return "unexpected";
    case SamplingFlags::processing: return "processing";
    case SamplingFlags::appInSample: return "appInSample";
    case SamplingFlags::appOutSample: return "appOutSample";
    case SamplingFlags::collectionInSample: return "collectionInSample";
    case SamplingFlags::collectionOutSample: return "collectionOutSample";
  }
  return "unexpected";
}

std::string toString(MaskAutomatic value) {
  switch (value) {
    case MaskAutomatic::labels: return "labels";
    case MaskAutomatic::inputs: return "inputs";
    case MaskAutomatic::images: return "images";
    case MaskAutomatic::webViews: return "webViews";
    case MaskAutomatic::all: return "all";
  }
  return "all";
}

std::string toString(LogLevel value) {
  switch (value) {
    case LogLevel::public_: return "public";
    case LogLevel::customer: return "customer";
    case LogLevel::qa: return "qa";
    case LogLevel::developer: return "developer";
  }
  return "public";
}

std::optional<ImageQualityType> imageQualityTypeFromRaw(int raw) {
  if (raw < 0 || raw > 4) return std::nullopt;
  return static_cast<ImageQualityType>(raw);
}

std::optional<VideoQualityType> videoQualityTypeFromRaw(int raw) {
  if (raw < 0 || raw > 4) return std::nullopt;
  return static_cast<VideoQualityType>(raw);
}

std::optional<SamplingMethod> samplingMethodFromRaw(int raw) {
  if (raw < -1 || raw > 2) return std::nullopt;
  return static_cast<SamplingMethod>(raw);
}

std::optional<SamplingFlags> samplingFlagsFromRaw(int raw) {
  if (raw < -1 || raw > 4) return std::nullopt;
  return static_cast<SamplingFlags>(raw);
}

SamplingMethod samplingMethodOrUnexpected(int raw) {
  return samplingMethodFromRaw(raw).value_or(SamplingMethod::unexpected);
}

SamplingFlags samplingFlagsOrUnexpected(int raw) {
  return samplingFlagsFromRaw(raw).value_or(SamplingFlags::unexpected);
}

std::optional<LogLevel> logLevelFromRaw(int raw) {
  if (raw < 0 || raw > 3) return std::nullopt;
  return static_cast<LogLevel>(raw);
}

}  // namespace obx
