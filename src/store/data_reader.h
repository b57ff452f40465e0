// DataReader: the store's Reader. Every operation runs synchronously on the serial queue
// "obx.ombrix.read-write", so a read sees every write queued before it. Called from a block of
// that queue, it runs at once.
#pragma once

#include <memory>

#include "platform/dispatch/dispatch_queue.h"
#include "store/files/reader.h"

namespace obx {

class DataReader final : public Reader {
 public:
  DataReader(std::shared_ptr<platform::DispatchQueue> queue, std::shared_ptr<Reader> reader);

  std::optional<std::vector<std::string>> read(const Directory& directory, const std::string& fileName) override;
  std::optional<std::string> readFirst(const Directory& directory, const std::string& fileName) override;
  std::vector<File> files(const Directory& directory) override;
  std::vector<Directory> subdirectories(const Directory& root) override;

  const std::shared_ptr<platform::DispatchQueue>& queue() const { return queue_; }

 private:
  std::shared_ptr<platform::DispatchQueue> queue_;
  std::shared_ptr<Reader> reader_;
};

}  // namespace obx
