// The payload records of stored events, with their JSON keys. A key is often not the field's name
// ("sN" for screenName); the to_json/from_json pair of each record is the one place that says which.
// Optional fields are written only when they hold a value and read as absent when their key is
// missing; every other key is written always and must be there on decoding (DecodingError).
// Float fields are 32-bit and written in their shortest decimal form.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "store/events/json_coding.h"

namespace obx {

struct Session {
  std::string sessionID;
  std::string leadID;
  bool operator==(const Session&) const = default;
};

struct Batch {
  std::string cScreenID;
  double startTime = 0;  // seconds since 1970
  bool operator==(const Batch&) const = default;
};

struct Screen {
  std::string screenName;
  std::int64_t screenIndex = 0;
  std::int64_t screenTime = 0;
  std::string orientation;
  bool operator==(const Screen&) const = default;
};

struct AppMiscellaneous {
  std::int64_t appLaunches = 0;
  std::string appVersionNumber;
  std::string version;
  std::string connectivity;
  std::string systemType;
  std::string deviceType;
  std::string deviceName;
  std::string osVersion;
  std::string screenSize;
  bool operator==(const AppMiscellaneous&) const = default;
};

struct Touch {
  std::int64_t x = 0;
  std::int64_t y = 0;
  std::optional<std::int64_t> oX;
  std::optional<std::int64_t> oY;
  std::optional<std::int64_t> force;
  std::optional<std::int64_t> scrollID;
  std::optional<std::int64_t> parentScrollID;
  bool operator==(const Touch&) const = default;
};

struct Scroll {
  std::int64_t scrollHeight = 0;
  std::int64_t focusTime = 0;
  float offsetY = 0;
  bool operator==(const Scroll&) const = default;
};

struct Idle {
  double time = 0;
  std::int64_t timeInBackground = 0;
  bool operator==(const Idle&) const = default;
};

struct Goal {
  std::string goalName;
  std::string currency;
  float value = 0;
  bool operator==(const Goal&) const = default;
};

struct Performance {
  double cpu = 0;
  double memory = 0;
  double battery = 0;
  std::int64_t threads = 0;
  double maxMemory = 0;
  std::optional<std::string> underStress;
  bool operator==(const Performance&) const = default;
};

struct Sampling {
  std::int64_t experienceDataStatus = 0;
  std::int64_t analysisDataStatusSession = 0;
  std::int64_t replayDataStatus = 0;
  std::optional<std::int64_t> analysisDataStatusPage;
  bool operator==(const Sampling&) const = default;
};

struct WeightedSampling {
  std::optional<bool> video;
  std::optional<bool> data;
  std::string sampling;
  bool operator==(const WeightedSampling&) const = default;
};

struct Crash {
  std::int64_t time = 0;
  std::string desc;
  std::int64_t signal = 0;
  std::vector<std::string> symbols;
  bool operator==(const Crash&) const = default;
};

struct Network {
  std::string host;
  std::string parameters;
  std::string method;
  std::int64_t code = 0;
  std::int64_t dateRequest = 0;
  std::int64_t duration = 0;
  std::int64_t bytesSent = 0;
  std::int64_t bytesReceived = 0;
  std::string error;
  bool isPrivate = false;  // "private"
  bool operator==(const Network&) const = default;
};

struct HTTPError {
  std::string error;
  bool operator==(const HTTPError&) const = default;
};

struct AppError {
  std::string error;
  bool operator==(const AppError&) const = default;
};

struct ImageEvent {
  std::int64_t index = 0;
  std::string name;
  std::int64_t width = 0;
  std::int64_t height = 0;
  std::int64_t timestamp = 0;
  bool operator==(const ImageEvent&) const = default;
};

struct ImageData {
  std::string screenshotName;
  std::int64_t screenshotIndex = 0;
  std::int64_t screenshotWidth = 0;
  std::int64_t screenshotHeight = 0;
  std::int64_t screenshotDuration = 0;
  std::int64_t timestamp = 0;
  bool operator==(const ImageData&) const = default;
};

struct FieldList {
  std::string type;
  std::string selector;
  std::string title;
  bool operator==(const FieldList&) const = default;
};

struct FormMeta {
  std::string formHash;
  std::string tracker;
  std::vector<FieldList> fieldList;
  std::int64_t index = 0;
  std::string name;
  std::string selector;
  std::int64_t cancelled = 0;
  bool operator==(const FormMeta&) const = default;
};

struct FormView {
  std::optional<std::int64_t> submitted;
  std::int64_t offset = 0;
  std::string formHash;
  std::optional<std::int64_t> ignoreError;
  std::optional<std::int64_t> error;
  bool operator==(const FormView&) const = default;
};

struct FieldView {
  std::int64_t offset = 0;
  std::optional<std::int64_t> interacted;
  std::string formHash;
  std::optional<std::int64_t> completed;
  std::optional<std::int64_t> timeInteracting;
  std::optional<std::int64_t> delay;
  std::optional<std::int64_t> changed;
  std::string field;
  std::optional<std::string> errorDesc;
  std::optional<std::int64_t> error;
  bool operator==(const FieldView&) const = default;
};

struct FormSuccess {
  bool success = false;
  std::optional<std::string> error;
  std::optional<std::string> selector;
  bool operator==(const FormSuccess&) const = default;
};

#define OBX_DECLARE_JSON(Record)           \
  void to_json(Json& json, const Record& value); \
  void from_json(const Json& json, Record& value);

OBX_DECLARE_JSON(Session)
OBX_DECLARE_JSON(Batch)
OBX_DECLARE_JSON(Screen)
OBX_DECLARE_JSON(AppMiscellaneous)
OBX_DECLARE_JSON(Touch)
OBX_DECLARE_JSON(Scroll)
OBX_DECLARE_JSON(Idle)
OBX_DECLARE_JSON(Goal)
OBX_DECLARE_JSON(Performance)
OBX_DECLARE_JSON(Sampling)
OBX_DECLARE_JSON(WeightedSampling)
OBX_DECLARE_JSON(Crash)
OBX_DECLARE_JSON(Network)
OBX_DECLARE_JSON(HTTPError)
OBX_DECLARE_JSON(AppError)
OBX_DECLARE_JSON(ImageEvent)
OBX_DECLARE_JSON(ImageData)
OBX_DECLARE_JSON(FieldList)
OBX_DECLARE_JSON(FormMeta)
OBX_DECLARE_JSON(FormView)
OBX_DECLARE_JSON(FieldView)
OBX_DECLARE_JSON(FormSuccess)

#undef OBX_DECLARE_JSON

}  // namespace obx
