// WriteValue: what a writer is handed: raw bytes, stored as they are, or a JSON value, encoded with
// the store's JSON encoder (compact, slashes not escaped) when the block is made.
#pragma once

#include <string>
#include <utility>
#include <variant>

#include "store/events/json_coding.h"

namespace obx {

class WriteValue {
 public:
  static WriteValue bytes(std::string raw) { return WriteValue(std::move(raw)); }
  static WriteValue json(Json value) { return WriteValue(std::move(value)); }
  template <typename T>
  static WriteValue encodable(const T& value) {
    return WriteValue(Json(value));
  }

  // The raw bytes, or null for a JSON value: lets a writer read them without a copy.
  const std::string* rawBytes() const { return std::get_if<std::string>(&value_); }
  // The plain block. Throws EncodingError when the JSON can't be encoded.
  std::string plainBlock() const {
    if (const auto* raw = std::get_if<std::string>(&value_)) return *raw;
    return encodeJSON(std::get<Json>(value_));
  }

 private:
  explicit WriteValue(std::string raw) : value_(std::move(raw)) {}
  explicit WriteValue(Json value) : value_(std::move(value)) {}
  std::variant<std::string, Json> value_;
};

}  // namespace obx
