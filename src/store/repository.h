// Repository: the spool between capture and upload. Per batch of a screen it keeps one event file
// and a folder of image files under the root "obx.ombrix" in the application-support folder:
//
//   <batch ID>/<batch ID>       block file of the batch's events, in arrival order
//   <batch ID>/.date.dat        the batch folder's creation date (JSON number, seconds since 2001)
//   <batch ID>/cache/<index>    one image per block file (tempImagesDirectory, "%@/cache")
//
// Writes go through the Storage: queued on "obx.ombrix.read-write", or on the caller's thread for
// saveNow. Reads wait on that queue for the writes queued before them. Listing, grouping and
// deletion run on the caller's queue (the upload worker's). Dates come from the scheduler's clock.
// While writes fail (a full disk), the first failure is logged and the rest only counted, until a
// write succeeds again.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "config/sdk_configuration.h"
#include "lifecycle/batch_context.h"
#include "lifecycle/memory_footprint_providing.h"
#include "platform/dispatch/scheduler.h"
#include "store/batch_folders.h"
#include "store/directory.h"
#include "store/events/image.h"
#include "store/files/file_error.h"
#include "store/files/write_value.h"
#include "store/screen_batches.h"
#include "store/storage.h"
#include "store/write_failure_log.h"

namespace obx {

class Repository {
 public:
  struct DirectoryDate {
    Directory directory;
    platform::Date date = 0;
  };

  static constexpr const char* kDateFileName = ".date.dat";
  // Seconds from 1970-01-01 to the platform's reference date, 2001-01-01 00:00:00 UTC.
  static constexpr double kReferenceDateOffset = 978307200.0;
  // A batch folder is still written while it is this young, in seconds: dataIntegrityBatchDelay,
  // and this without a configuration.
  static constexpr double kRestingAge = 2.0;
  // The assumed age of a batch folder without a date file.
  static constexpr double kUndatedAge = 3.0;
  static constexpr double kMemoryCeilingDivisor = 2.2;

  // Makes the root folder; throws FileError when it can't be had (Directory::root).
  // `devicePerformance` gives the app's footprint for the image-reading ceiling, which is
  // `physicalMemoryMiB` / 2.2; without it no ceiling applies.
  Repository(std::shared_ptr<SDKConfiguration> configuration, std::shared_ptr<Storage> storage,
             std::shared_ptr<const MemoryFootprintProviding> devicePerformance, double physicalMemoryMiB,
             std::shared_ptr<platform::Scheduler> scheduler);

  const Directory& root() const { return root_; }
  Storage& storage() { return *storage_; }

  // Appends one block to `<batchID>/<batchID>`, queued; the date file follows on the queue.
  // A folder that can't be made logs and drops the value.
  void save(WriteValue value, const std::string& batchID);
  // The same on the caller's thread, done before it returns. Returns the error, or nothing.
  // A batch already made and dated by this process costs one open, one write and one close.
  std::optional<FileError> saveNow(const WriteValue& value, const std::string& batchID);
  // Writes `image` as the block file `<batchID>/cache/<index>`, queued.
  void saveImage(const Image& image, const std::string& batchID);
  // The same on the caller's thread, done before it returns. Returns the error, or nothing.
  std::optional<FileError> saveImageNow(const Image& image, const std::string& batchID);

  // The plain blocks of a batch's event file, or an empty list.
  std::vector<std::string> events(const std::string& batchID);
  // The images of a batch in index order: at most kMaxImagesVideoRecording, and no more once the
  // app's footprint exceeds the memory ceiling. Blocks that don't decode are left out.
  std::vector<Image> images(const std::string& batchID);

  // The batch folders that may be uploaded: not hidden, not the current batch, not the session
  // logs' folder, older than dataIntegrityBatchDelay (2.0 seconds); those older than maxTimeFileSaved are deleted and left
  // out. Session logs stay on the device and are dated at the first pass that sees them, and go
  // once older than maxTimeFileSaved.
  std::vector<DirectoryDate> readyBatches(const std::optional<BatchContext>& current);
  std::vector<DirectoryDate> readyBatches(const std::optional<std::string>& currentBatchID);
  // Groups batches by the screen ID before the first "_", earliest date per screen, sorted by date.
  static std::vector<ScreenBatches> screenBatches(const std::vector<DirectoryDate>& batches);
  ScreenToSend screenToSend(const ScreenBatches& screen);

  // Both return the error text, or nothing.
  std::optional<std::string> deleteImages(const std::string& batchID);
  std::optional<std::string> deleteBatch(const std::string& batchID);

  // The folder of a batch's images, relative to the root.
  std::string imagesDirectoryName(const std::string& batchID) const;
  // The date of a batch folder as its date file holds it, or nothing.
  static std::optional<platform::Date> readDateFile(const std::filesystem::path& batchDirectory);
  static std::string encodeDate(platform::Date date);

 private:
  // The batch folder, made on the disk; logs "Error creating directory: " and gives nothing on failure.
  std::optional<Directory> batchDirectory(const std::string& batchID) const;
  // True when the folder has its date file, written now or before; a failure goes to `failures`, or
  // to the log when there is none.
  static bool writeDateIfNeeded(const Directory& directory, const platform::Scheduler& scheduler,
                                WriteFailureLog* failures = nullptr);
  // After a failed append into a folder thought ready: when the folder has gone, forgets it, makes
  // it again with its date and appends once more, and returns that outcome; otherwise `error`.
  static std::optional<FileError> appendToRemadeFolder(const std::optional<FileError>& error, const WriteValue& value,
                                                       const Directory& directory, const std::string& batchID,
                                                       Storage& storage, BatchFolders& folders,
                                                       const platform::Scheduler& scheduler);
  void expireSessionLogs(double maxTimeFileSaved, platform::Date date);
  platform::Date now() const;

  std::shared_ptr<SDKConfiguration> configuration_;
  std::shared_ptr<Storage> storage_;
  std::shared_ptr<const MemoryFootprintProviding> devicePerformance_;
  double physicalMemoryMiB_;
  std::shared_ptr<platform::Scheduler> scheduler_;
  Directory root_;
  // Shared with the completions of queued writes, which may outlive this repository.
  std::shared_ptr<BatchFolders> folders_ = std::make_shared<BatchFolders>();
  std::shared_ptr<WriteFailureLog> writeFailures_ = std::make_shared<WriteFailureLog>();
};

}  // namespace obx
