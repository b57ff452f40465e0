// TandemEvent: a message on the in-process bus shared by sibling SDKs, with its payload as an
// untyped object (a string for the identifiers the SDKs exchange; a sibling may send anything).
// Receivers tell events apart by their class. Events are immutable once made and may be read from
// any thread.
#pragma once

#include <any>
#include <string>

namespace obx::platform {

class TandemEvent {
 public:
  // `initWithPayload:`.
  explicit TandemEvent(std::any payload = {}) : payload_(std::move(payload)) {}
  virtual ~TandemEvent() = default;

  const std::any& payload() const { return payload_; }
  // The payload when it is a string, else null.
  const std::string* stringPayload() const { return std::any_cast<std::string>(&payload_); }
  virtual const char* className() const { return "TandemEvent"; }
  // "<TandemZRTEvent: payload = 'abc'>"; a payload that is not a string shows its kind.
  std::string description() const;

 private:
  std::any payload_;
};

}  // namespace obx::platform
