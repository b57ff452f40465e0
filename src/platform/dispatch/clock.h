// Clock: the one source of dates in the SDK. A date is seconds since 1970-01-01 00:00:00 UTC.
// SystemClock reads the wall clock; ManualClock holds a virtual date that only tests move.
#pragma once

#include <atomic>

namespace obx::platform {

using Date = double;

class Clock {
 public:
  virtual ~Clock() = default;
  virtual Date now() const = 0;
};

class SystemClock final : public Clock {
 public:
  Date now() const override;
};

// Starts at 2026-01-01 00:00:00 UTC unless told otherwise. Safe to read from any thread.
class ManualClock final : public Clock {
 public:
  static constexpr Date kDefaultStart = 1767225600.0;

  explicit ManualClock(Date start = kDefaultStart) : now_(start) {}
  Date now() const override { return now_.load(); }
  void set(Date date) { now_.store(date); }

 private:
  std::atomic<Date> now_;
};

}  // namespace obx::platform
