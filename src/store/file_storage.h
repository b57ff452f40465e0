// FileStorage: the Storage of the store: a DataReader and a DataWriter on "obx.ombrix.read-write".
#pragma once

#include <memory>

#include "platform/dispatch/dispatch_queue.h"
#include "store/data_reader.h"
#include "store/data_writer.h"
#include "store/files/security.h"
#include "store/storage.h"

namespace obx {

class FileStorage final : public Storage {
 public:
  FileStorage(std::shared_ptr<DataReader> reader, std::shared_ptr<DataWriter> writer);

  // A FileReader and a FileWriter with `security`, wrapped in a DataReader and a DataWriter on `queue`.
  static std::shared_ptr<FileStorage> make(const std::shared_ptr<platform::DispatchQueue>& queue,
                                           const std::shared_ptr<const SecurityManager>& security);

  Reader& reader() override { return *reader_; }
  Writer& writer() override { return *writer_; }

 private:
  std::shared_ptr<DataReader> reader_;
  std::shared_ptr<DataWriter> writer_;
};

}  // namespace obx
