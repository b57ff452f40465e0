#include "store/events/payloads.h"

namespace obx {

using namespace json_keys;

namespace {

template <typename T>
std::vector<T> decodeArray(const Json& object, const char* key) {
  const Json& list = require(object, key);
  if (!list.is_array()) throw DecodingError{std::string("Type mismatch for \"") + key + "\": expected array"};
  std::vector<T> out;
  out.reserve(list.size());
  for (const auto& item : list) out.push_back(item.template get<T>());
  return out;
}

}  // namespace

void to_json(Json& json, const Session& value) {
  json = Json::object();
  json["sessionID"] = value.sessionID;
  json["leadID"] = value.leadID;
}
void from_json(const Json& json, Session& value) {
  value.sessionID = decodeString(json, "sessionID");
  value.leadID = decodeString(json, "leadID");
}

void to_json(Json& json, const Batch& value) {
  json = Json::object();
  json["cScreenID"] = value.cScreenID;
  json["startTime"] = value.startTime;
}
void from_json(const Json& json, Batch& value) {
  value.cScreenID = decodeString(json, "cScreenID");
  value.startTime = decodeDouble(json, "startTime");
}

void to_json(Json& json, const Screen& value) {
  json = Json::object();
  json["sN"] = value.screenName;
  json["sI"] = value.screenIndex;
  json["sT"] = value.screenTime;
  json["o"] = value.orientation;
}
void from_json(const Json& json, Screen& value) {
  value.screenName = decodeString(json, "sN");
  value.screenIndex = decodeInteger(json, "sI");
  value.screenTime = decodeInteger(json, "sT");
  value.orientation = decodeString(json, "o");
}

void to_json(Json& json, const AppMiscellaneous& value) {
  json = Json::object();
  json["aL"] = value.appLaunches;
  json["aV"] = value.appVersionNumber;
  json["sV"] = value.version;
  json["cT"] = value.connectivity;
  json["dF"] = value.systemType;
  json["dT"] = value.deviceType;
  json["d"] = value.deviceName;
  json["os"] = value.osVersion;
  json["ss"] = value.screenSize;
}
void from_json(const Json& json, AppMiscellaneous& value) {
  value.appLaunches = decodeInteger(json, "aL");
  value.appVersionNumber = decodeString(json, "aV");
  value.version = decodeString(json, "sV");
  value.connectivity = decodeString(json, "cT");
  value.systemType = decodeString(json, "dF");
  value.deviceType = decodeString(json, "dT");
  value.deviceName = decodeString(json, "d");
  value.osVersion = decodeString(json, "os");
  value.screenSize = decodeString(json, "ss");
}

void to_json(Json& json, const Touch& value) {
  json = Json::object();
  json["x"] = value.x;
  json["y"] = value.y;
  encodeOptional(json, "oX", value.oX);
  encodeOptional(json, "oY", value.oY);
  encodeOptional(json, "cf", value.force);
  encodeOptional(json, "sID", value.scrollID);
  encodeOptional(json, "pID", value.parentScrollID);
}
void from_json(const Json& json, Touch& value) {
  value.x = decodeInteger(json, "x");
  value.y = decodeInteger(json, "y");
  value.oX = decodeOptionalInteger(json, "oX");
  value.oY = decodeOptionalInteger(json, "oY");
  value.force = decodeOptionalInteger(json, "cf");
  value.scrollID = decodeOptionalInteger(json, "sID");
  value.parentScrollID = decodeOptionalInteger(json, "pID");
}

void to_json(Json& json, const Scroll& value) {
  json = Json::object();
  json["sH"] = value.scrollHeight;
  json["fT"] = value.focusTime;
  json["oY"] = jsonNumberFromFloat(value.offsetY);
}
void from_json(const Json& json, Scroll& value) {
  value.scrollHeight = decodeInteger(json, "sH");
  value.focusTime = decodeInteger(json, "fT");
  value.offsetY = decodeFloat(json, "oY");
}

void to_json(Json& json, const Idle& value) {
  json = Json::object();
  json["t"] = value.time;
  json["iS"] = value.timeInBackground;
}
void from_json(const Json& json, Idle& value) {
  value.time = decodeDouble(json, "t");
  value.timeInBackground = decodeInteger(json, "iS");
}

void to_json(Json& json, const Goal& value) {
  json = Json::object();
  json["conid"] = value.goalName;
  json["conc"] = value.currency;
  json["conv"] = jsonNumberFromFloat(value.value);
}
void from_json(const Json& json, Goal& value) {
  value.goalName = decodeString(json, "conid");
  value.currency = decodeString(json, "conc");
  value.value = decodeFloat(json, "conv");
}

void to_json(Json& json, const Performance& value) {
  json = Json::object();
  json["c"] = value.cpu;
  json["m"] = value.memory;
  json["b"] = value.battery;
  json["nC"] = value.threads;
  json["mM"] = value.maxMemory;
  encodeOptional(json, "uS", value.underStress);
}
void from_json(const Json& json, Performance& value) {
  value.cpu = decodeDouble(json, "c");
  value.memory = decodeDouble(json, "m");
  value.battery = decodeDouble(json, "b");
  value.threads = decodeInteger(json, "nC");
  value.maxMemory = decodeDouble(json, "mM");
  value.underStress = decodeOptionalString(json, "uS");
}

void to_json(Json& json, const Sampling& value) {
  json = Json::object();
  json["experienceDataStatus"] = value.experienceDataStatus;
  json["analysisDataStatusSession"] = value.analysisDataStatusSession;
  json["replayDataStatus"] = value.replayDataStatus;
  encodeOptional(json, "analysisDataStatusPage", value.analysisDataStatusPage);
}
void from_json(const Json& json, Sampling& value) {
  value.experienceDataStatus = decodeInteger(json, "experienceDataStatus");
  value.analysisDataStatusSession = decodeInteger(json, "analysisDataStatusSession");
  value.replayDataStatus = decodeInteger(json, "replayDataStatus");
  value.analysisDataStatusPage = decodeOptionalInteger(json, "analysisDataStatusPage");
}

void to_json(Json& json, const WeightedSampling& value) {
  json = Json::object();
  encodeOptional(json, "video", value.video);
  encodeOptional(json, "data", value.data);
  json["sampling"] = value.sampling;
}
void from_json(const Json& json, WeightedSampling& value) {
  value.video = decodeOptionalBool(json, "video");
  value.data = decodeOptionalBool(json, "data");
  value.sampling = decodeString(json, "sampling");
}

void to_json(Json& json, const Crash& value) {
  json = Json::object();
  json["time"] = value.time;
  json["desc"] = value.desc;
  json["signal"] = value.signal;
  json["symbols"] = value.symbols;
}
void from_json(const Json& json, Crash& value) {
  value.time = decodeInteger(json, "time");
  value.desc = decodeString(json, "desc");
  value.signal = decodeInteger(json, "signal");
  const Json& symbols = require(json, "symbols");
  if (!symbols.is_array()) throw DecodingError{"Type mismatch for \"symbols\": expected array"};
  value.symbols.clear();
  for (const auto& symbol : symbols) value.symbols.push_back(asString(symbol, "symbols"));
}

void to_json(Json& json, const Network& value) {
  json = Json::object();
  json["host"] = value.host;
  json["parameters"] = value.parameters;
  json["method"] = value.method;
  json["code"] = value.code;
  json["dateRequest"] = value.dateRequest;
  json["duration"] = value.duration;
  json["bytesSent"] = value.bytesSent;
  json["bytesReceived"] = value.bytesReceived;
  json["error"] = value.error;
  json["private"] = value.isPrivate;
}
void from_json(const Json& json, Network& value) {
  value.host = decodeString(json, "host");
  value.parameters = decodeString(json, "parameters");
  value.method = decodeString(json, "method");
  value.code = decodeInteger(json, "code");
  value.dateRequest = decodeInteger(json, "dateRequest");
  value.duration = decodeInteger(json, "duration");
  value.bytesSent = decodeInteger(json, "bytesSent");
  value.bytesReceived = decodeInteger(json, "bytesReceived");
  value.error = decodeString(json, "error");
  value.isPrivate = decodeBool(json, "private");
}

void to_json(Json& json, const HTTPError& value) {
  json = Json::object();
  json["error"] = value.error;
}
void from_json(const Json& json, HTTPError& value) { value.error = decodeString(json, "error"); }

void to_json(Json& json, const AppError& value) {
  json = Json::object();
  json["error"] = value.error;
}
void from_json(const Json& json, AppError& value) { value.error = decodeString(json, "error"); }

void to_json(Json& json, const ImageEvent& value) {
  json = Json::object();
  json["index"] = value.index;
  json["name"] = value.name;
  json["width"] = value.width;
  json["height"] = value.height;
  json["timestamp"] = value.timestamp;
}
void from_json(const Json& json, ImageEvent& value) {
  value.index = decodeInteger(json, "index");
  value.name = decodeString(json, "name");
  value.width = decodeInteger(json, "width");
  value.height = decodeInteger(json, "height");
  value.timestamp = decodeInteger(json, "timestamp");
}

void to_json(Json& json, const ImageData& value) {
  json = Json::object();
  json["sName"] = value.screenshotName;
  json["sIndex"] = value.screenshotIndex;
  json["sWidth"] = value.screenshotWidth;
  json["sHeight"] = value.screenshotHeight;
  json["sDuration"] = value.screenshotDuration;
  json["timestamp"] = value.timestamp;
}
void from_json(const Json& json, ImageData& value) {
  value.screenshotName = decodeString(json, "sName");
  value.screenshotIndex = decodeInteger(json, "sIndex");
  value.screenshotWidth = decodeInteger(json, "sWidth");
  value.screenshotHeight = decodeInteger(json, "sHeight");
  value.screenshotDuration = decodeInteger(json, "sDuration");
  value.timestamp = decodeInteger(json, "timestamp");
}

void to_json(Json& json, const FieldList& value) {
  json = Json::object();
  json["t"] = value.type;
  json["s"] = value.selector;
  json["ti"] = value.title;
}
void from_json(const Json& json, FieldList& value) {
  value.type = decodeString(json, "t");
  value.selector = decodeString(json, "s");
  value.title = decodeString(json, "ti");
}

void to_json(Json& json, const FormMeta& value) {
  json = Json::object();
  json["h"] = value.formHash;
  json["ht"] = value.tracker;
  json["e"] = value.fieldList;
  json["i"] = value.index;
  json["n"] = value.name;
  json["s"] = value.selector;
  json["cs"] = value.cancelled;
}
void from_json(const Json& json, FormMeta& value) {
  value.formHash = decodeString(json, "h");
  value.tracker = decodeString(json, "ht");
  value.fieldList = decodeArray<FieldList>(json, "e");
  value.index = decodeInteger(json, "i");
  value.name = decodeString(json, "n");
  value.selector = decodeString(json, "s");
  value.cancelled = decodeInteger(json, "cs");
}

void to_json(Json& json, const FormView& value) {
  json = Json::object();
  encodeOptional(json, "su", value.submitted);
  json["offset"] = value.offset;
  json["h"] = value.formHash;
  encodeOptional(json, "igEr", value.ignoreError);
  encodeOptional(json, "er", value.error);
}
void from_json(const Json& json, FormView& value) {
  value.submitted = decodeOptionalInteger(json, "su");
  value.offset = decodeInteger(json, "offset");
  value.formHash = decodeString(json, "h");
  value.ignoreError = decodeOptionalInteger(json, "igEr");
  value.error = decodeOptionalInteger(json, "er");
}

void to_json(Json& json, const FieldView& value) {
  json = Json::object();
  json["offset"] = value.offset;
  encodeOptional(json, "in", value.interacted);
  json["fh"] = value.formHash;
  encodeOptional(json, "co", value.completed);
  encodeOptional(json, "ti", value.timeInteracting);
  encodeOptional(json, "de", value.delay);
  encodeOptional(json, "ch", value.changed);
  json["s"] = value.field;
  encodeOptional(json, "erStr", value.errorDesc);
  encodeOptional(json, "er", value.error);
}
void from_json(const Json& json, FieldView& value) {
  value.offset = decodeInteger(json, "offset");
  value.interacted = decodeOptionalInteger(json, "in");
  value.formHash = decodeString(json, "fh");
  value.completed = decodeOptionalInteger(json, "co");
  value.timeInteracting = decodeOptionalInteger(json, "ti");
  value.delay = decodeOptionalInteger(json, "de");
  value.changed = decodeOptionalInteger(json, "ch");
  value.field = decodeString(json, "s");
  value.errorDesc = decodeOptionalString(json, "erStr");
  value.error = decodeOptionalInteger(json, "er");
}

void to_json(Json& json, const FormSuccess& value) {
  json = Json::object();
  json["success"] = value.success;
  encodeOptional(json, "error", value.error);
  encodeOptional(json, "selector", value.selector);
}
void from_json(const Json& json, FormSuccess& value) {
  value.success = decodeBool(json, "success");
  value.error = decodeOptionalString(json, "error");
  value.selector = decodeOptionalString(json, "selector");
}

}  // namespace obx
