// UploadParser: turns the stored batches of one screen into the encrypted ZIP the collection server
// takes. The events are decoded, completed with an "images" event, ordered by offset, stripped of
// "batch", "bE" and "image", closed by a forced "aE" when needed and written as one JSON array;
// the body and each image are enciphered with the session's key and zipped as
// `<id>_zip/raw/{data,<index>...}`. The archive is kept at `<root>/<id>/zip/<id>.zip` and reused
// as it is by the next parse of the same screen, so a retry sends the same bytes.
//
// `parse` runs on the upload worker's queue. With `keepVideoData` on, a plain copy of the enciphered
// files is written to the caches folder on "obx.ombrix.zipDebug-write".
#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include <string>
#include <vector>

#include "platform/dispatch/dispatch_queue.h"
#include "store/events/payloads.h"
#include "store/files/security.h"
#include "store/screen_batches.h"
#include "store/write_failure_log.h"
#include "upload/upload_screen.h"
#include "upload/uploader_configuration.h"

namespace obx {

class UploadParser {
 public:
  static constexpr const char* kDebugQueueLabel = "obx.ombrix.zipDebug-write";

  // `root` is the store's root folder, the one that holds the batch folders.
  UploadParser(std::shared_ptr<UploaderConfiguration> configuration, std::filesystem::path root,
               std::shared_ptr<platform::Scheduler> scheduler);

  // The screen ready to send, or nothing. Nothing with `retryLater` false: it can never be sent
  // (the caller deletes it). Nothing with `retryLater` true: its ZIP could not be written for a
  // passing reason (a full disk); the caller keeps the screen for a later pass.
  std::optional<UploadScreen> parse(const ScreenToSend& screen, bool* retryLater = nullptr) const;

  const std::shared_ptr<UploaderConfiguration>& configuration() const { return configuration_; }

 private:
  // Queues a copy of the enciphered files under Library/Caches/obx.ombrix.zips for inspection.
  void writeDebugCopy(const std::string& id, const Session& rawSession, const std::string& body,
                      const std::vector<Image>& images, const Security& security) const;

  std::shared_ptr<UploaderConfiguration> configuration_;
  std::filesystem::path root_;
  std::shared_ptr<platform::DispatchQueue> debugQueue_;
  // The disk's refusals of ZIPs, said once for a run of them.
  std::unique_ptr<WriteFailureLog> diskFailures_ = std::make_unique<WriteFailureLog>();
};

}  // namespace obx
