#include "crash/cr_pending_reports.h"

#include <cmath>
#include <string_view>

#include "base/logger.h"
#include "platform/crash/crash_handlers.h"
#include "platform/crash/crash_record_file.h"
#include "platform/crash/crash_symbolizer.h"
#include "session/crash_snapshot.h"
#include "session/image_placeholder_builder.h"
#include "session/stored_image.h"
#include "store/data_controller.h"

namespace obx {
namespace {

std::optional<CrashSnapshot::Decoded> snapshotOf(const platform::RawCrashRecord& record, CrashSnapshot::Part part) {
  auto found = record.snapshots.find(static_cast<std::uint32_t>(part));
  if (found == record.snapshots.end()) return std::nullopt;
  return CrashSnapshot::decode(found->second);
}

// Says what failed: the store's own description names the step (the folder, the write, the offset).
void logFailure(const std::string& what, const FileError& error) {
  constexpr std::string_view kDirectory = "Error creating directory: ";
  if (error.description.starts_with(kDirectory)) {
    Logger::log(error.description + ".", LogLevel::developer);
  } else {
    Logger::log("Error writing " + what + ": " + error.description + ".", LogLevel::developer);
  }
}

}  // namespace

CRPendingReports::CRPendingReports(std::shared_ptr<DataController> dataController)
    : dataController_(std::move(dataController)) {}

Crash CRPendingReports::crashOf(const platform::RawCrashRecord& record) {
  Crash crash;
  crash.time = static_cast<std::int64_t>(std::trunc(record.time));
  if (record.kind == platform::RawCrashRecord::Kind::exception) {
    crash.signal = 0;
    crash.desc = !record.exceptionWhat.empty() ? record.exceptionWhat
                 : !record.exceptionType.empty() ? "uncaught exception of type " + platform::CrashSymbolizer::demangle(record.exceptionType)
                                                 : "uncaught exception";
  } else {
    crash.signal = record.signal;
    crash.desc = platform::CrashHandlers::signalName(record.signal);
  }
  crash.symbols = platform::CrashSymbolizer::symbolize(record.frames, record.maps);
  return crash;
}

int CRPendingReports::writeLeftBehind(const std::filesystem::path& folder) {
  int written = 0;
  for (const auto& left : platform::CrashRecordFile::leftBehind(folder)) {
    const platform::RawCrashFile file = platform::readRawCrashRecords(left.bytes);
    if (file.tornRecords > 0) {
      Logger::log("Crash record torn in " + left.path.filename().string() + ": " + std::to_string(file.tornRecords) +
                      " dropped",
                  LogLevel::qa);
    }
    if (dataController_) written += writeRecords(file, left.path);
    std::error_code error;
    std::filesystem::remove(left.path, error);
  }
  return written;
}

int CRPendingReports::writeRecords(const platform::RawCrashFile& file, const std::filesystem::path& path) {
  int written = 0;
  for (const platform::RawCrashRecord& record : file.records) {
    auto snapshot = snapshotOf(record, CrashSnapshot::Part::crash);
    if (!snapshot) {
      Logger::log("Crash before the first batch: nothing to report it in", LogLevel::qa);
      continue;
    }
    if (auto error = dataController_->saveEventNow(EventType::crash, record.time, crashOf(record), snapshot->batch)) {
      logFailure("crash event", *error);
      continue;
    }
    ++written;
  }
  for (const platform::RawCrashRecord& record : file.records) {
    if (auto replay = snapshotOf(record, CrashSnapshot::Part::replay)) {
      writeOwedPlaceholder(*replay, record.time);
      break;
    }
  }
  // The crashed screen ends once, however many records its death left.
  for (const platform::RawCrashRecord& record : file.records) {
    auto screen = snapshotOf(record, CrashSnapshot::Part::analytics);
    if (!screen) continue;
    for (const CrashSnapshot::EndEvent& event : screen->events) {
      if (auto error = dataController_->saveEventNow(event.type, record.time, event.data, screen->batch)) {
        logFailure(std::string(rawValue(event.type)) + " event of a crashed screen", *error);
      }
    }
    break;
  }
  Logger::log("Crash report " + path.filename().string() + ": " + std::to_string(written) + " crash events written",
              LogLevel::developer);
  return written;
}

void CRPendingReports::writeOwedPlaceholder(const CrashSnapshot::Decoded& replay, platform::Date time) {
  auto owed = CrashSnapshot::owedPlaceholderOf(replay);
  if (!owed) return;
  const std::string& screenID = replay.batch.viewContext.screenID;
  Logger::log("Create placeholder '" + placeholderReasonMessage(owed->reason) + "' -> ID: " + screenID, LogLevel::qa);
  auto jpeg = ImagePlaceholderBuilder::composePlaceholder(owed->reason, {owed->screen.width, owed->screen.height});
  if (!jpeg) jpeg = ImagePlaceholderBuilder::fallbackPlaceholder();
  if (!jpeg) return;
  // Owed only while the screen had no image: it is the screen's image 0.
  storeReplayImage(*dataController_, replay.batch, ReplayImage{*jpeg, owed->image, 0, true}, time, ImageWrite::now);
}

}  // namespace obx
