#include "store/events/image.h"

#include "platform/crypto/base64.h"

namespace obx {

void to_json(Json& json, const Image& value) {
  json = Json::object();
  json["index"] = value.index;
  json["data"] = platform::base64Encode(value.data);
  json["timestamp"] = value.timestamp;
}

void from_json(const Json& json, Image& value) {
  value.index = json_keys::decodeInteger(json, "index");
  auto bytes = platform::base64Decode(json_keys::decodeString(json, "data"));
  if (!bytes) throw DecodingError{"Invalid Base64 in \"data\""};
  value.data = std::move(*bytes);
  value.timestamp = json_keys::decodeInteger(json, "timestamp");
}

}  // namespace obx
