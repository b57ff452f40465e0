// Enumerations of the public configuration, with their raw values where the wire or the server uses
// them. `toString` gives the case name as it appears in log lines.
#pragma once

#include <optional>
#include <string>

namespace obx {

enum class Consent { analyticsAndRecording, analytics, none };
enum class SessionReplayMode { hiFi, loFi, automatic };
enum class ImageQualityType : int { poor = 0, low = 1, average = 2, high = 3, ultra = 4 };
enum class VideoQualityType : int { poor = 0, low = 1, average = 2, high = 3, ultra = 4 };
enum class SamplingMethod : int { unexpected = -1, random = 0, weighted = 1, purposeful = 2 };
enum class SamplingFlags : int {
  unexpected = -1,
  processing = 0,
  appInSample = 1,
  appOutSample = 2,
  collectionInSample = 3,
  collectionOutSample = 4,
};
enum class MaskAutomatic { labels, inputs, images, webViews, all };
// `public_` is the level every integrator sees (the keyword cannot be a name).
enum class LogLevel : int { public_ = 0, customer = 1, qa = 2, developer = 3 };

std::string toString(Consent value);
std::string toString(SessionReplayMode value);
std::string toString(ImageQualityType value);
std::string toString(VideoQualityType value);
std::string toString(SamplingMethod value);
std::string toString(SamplingFlags value);
std::string toString(MaskAutomatic value);
std::string toString(LogLevel value);

// Decoding from raw integers. Out of range gives absent.
std::optional<ImageQualityType> imageQualityTypeFromRaw(int raw);
std::optional<VideoQualityType> videoQualityTypeFromRaw(int raw);
std::optional<SamplingMethod> samplingMethodFromRaw(int raw);
std::optional<SamplingFlags> samplingFlagsFromRaw(int raw);
std::optional<LogLevel> logLevelFromRaw(int raw);
// A sampling value the SDK builds from a plain integer (not a received document, which is decoded
// strictly): out of range gives `unexpected`.
SamplingMethod samplingMethodOrUnexpected(int raw);
SamplingFlags samplingFlagsOrUnexpected(int raw);

}  // namespace obx
