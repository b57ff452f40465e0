// CRPendingReports: the next start's half of crash capture. For each crash record that a process of
// this sandbox left when it died, it writes the `crash` event into the batch that was current (an
// uncaught exception gives two: the exception, then the SIGABRT it ended by), then, for a screen that
// had no image yet, the placeholder it was owed as its image 0, then the events that close the crashed
// screen, in the spool's format, and removes the record. It runs before the upload feature starts, so
// the crashed batch leaves with them. A torn record is dropped with a log line; a crash that came
// before any batch writes nothing.
#pragma once

#include <filesystem>
#include <memory>

#include "platform/crash/raw_crash_record.h"
#include "session/crash_snapshot.h"
#include "store/events/payloads.h"

namespace obx {

class DataController;

class CRPendingReports {
 public:
  explicit CRPendingReports(std::shared_ptr<DataController> dataController);

  // Writes what every record left in `folder` reports; returns the number of crash events written.
  int writeLeftBehind(const std::filesystem::path& folder);

  // The crash event of one record, its stack named.
  static Crash crashOf(const platform::RawCrashRecord& record);

 private:
  int writeRecords(const platform::RawCrashFile& file, const std::filesystem::path& path);
  // The placeholder of a crashed screen that had no image yet.
  void writeOwedPlaceholder(const CrashSnapshot::Decoded& replay, platform::Date time);

  std::shared_ptr<DataController> dataController_;
};

}  // namespace obx
