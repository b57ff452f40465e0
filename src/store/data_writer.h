// DataWriter: the store's Writer. The queued operations run FileWriter on the serial queue
// "obx.ombrix.read-write" (owned by Core and passed in), in submission order, so two records never
// interleave; appendNow writes on the caller's thread, around the queue.
#pragma once

#include <memory>

#include "platform/dispatch/dispatch_queue.h"
#include "store/files/writer.h"

namespace obx {

class DataWriter final : public Writer {
 public:
  DataWriter(std::shared_ptr<platform::DispatchQueue> queue, std::shared_ptr<Writer> file);

  // Both return at once; `completion` runs on the queue after the write.
  void append(WriteValue value, const Directory& directory, const std::string& fileName,
              WriteCompletion completion = {}) override;
  void writeFromStart(WriteValue value, const Directory& directory, const std::string& fileName,
                      WriteCompletion completion = {}) override;
  std::optional<FileError> appendNow(const WriteValue& value, const Directory& directory,
                                     const std::string& fileName) override;
  std::optional<FileError> appendNow(const WriteValue& value, const File& file) override;

  const std::shared_ptr<platform::DispatchQueue>& queue() const { return queue_; }

 private:
  std::shared_ptr<platform::DispatchQueue> queue_;
  std::shared_ptr<Writer> file_;
};

}  // namespace obx
