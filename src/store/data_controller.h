// DataController: the one door of the capture features into the store. An event gets its offset
// from the screen's start date, is wrapped in Event<T>, encoded as JSON on the caller's thread and
// handed to the Repository: queued on "obx.ombrix.read-write" (saveEvent) or written on the
// caller's thread before the call returns (saveEventNow). The listing, grouping and deletion
// operations serve the upload worker on its own queue. Every operation may be called from any
// thread; none throws.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lifecycle/batch_context.h"
#include "platform/dispatch/clock.h"
#include "store/events/event.h"
#include "store/files/file_error.h"
#include "store/repository.h"

namespace obx {

class DataController {
 public:
  explicit DataController(std::shared_ptr<Repository> repository);

  // Whole milliseconds from `screenDate` to `eventDate`, truncated toward zero; nothing when the
  // result is not finite or lies outside the signed 64-bit range.
  static std::optional<std::int64_t> offset(platform::Date eventDate, platform::Date screenDate);

  // Queues the event of `type` dated `date` into `batch`'s event file. Returns the error when the
  // event is refused (an offset that can't be represented, an encoding failure), or nothing when
  // it was queued; a write failure is logged on the queue.
  template <typename T>
  std::optional<FileError> saveEvent(EventType type, platform::Date date, const T& payload, const BatchContext& batch) {
    return save(type, date, batch, [&] { return Json(payload); }, false);
  }
  // The same, written on the caller's thread before it returns. Returns the error, or nothing.
  template <typename T>
  std::optional<FileError> saveEventNow(EventType type, platform::Date date, const T& payload,
                                        const BatchContext& batch) {
    return save(type, date, batch, [&] { return Json(payload); }, true);
  }
  // Queues the image's block file into `batch`'s image folder.
  void saveImage(const Image& image, const BatchContext& batch);
  // The same, written on the caller's thread before it returns. Returns the error, or nothing.
  std::optional<FileError> saveImageNow(const Image& image, const BatchContext& batch) {
    return repository_->saveImageNow(image, batch.id);
  }

  std::vector<Repository::DirectoryDate> readyBatches(const std::optional<BatchContext>& current);
  std::vector<ScreenBatches> screenBatches(const std::vector<Repository::DirectoryDate>& batches);
  ScreenToSend screenToSend(const ScreenBatches& screen);
  // Remove a batch's image folder, or the whole batch; a failure is logged.
  void deleteImages(const std::string& batchID);
  void deleteBatch(const std::string& batchID);

  Repository& repository() { return *repository_; }

 private:
  template <typename MakeJson>
  std::optional<FileError> save(EventType type, platform::Date date, const BatchContext& batch, MakeJson&& makeJson,
                                bool now) {
    auto eventOffset = offset(date, batch.viewContext.dateScreen);
    if (!eventOffset) return reject(type, batch);
    return store(type, *eventOffset, batch, makeJson(), now);
  }
  std::optional<FileError> reject(EventType type, const BatchContext& batch);
  // `data` is the payload's JSON; the envelope is written around it as Event<T> would be.
  std::optional<FileError> store(EventType type, std::int64_t offset, const BatchContext& batch, const Json& data,
                                 bool now);

  std::shared_ptr<Repository> repository_;
};

}  // namespace obx
