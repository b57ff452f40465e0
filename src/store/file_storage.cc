#include "store/file_storage.h"

#include "store/files/file_reader.h"
#include "store/files/file_writer.h"

namespace obx {

FileStorage::FileStorage(std::shared_ptr<DataReader> reader, std::shared_ptr<DataWriter> writer)
    : reader_(std::move(reader)), writer_(std::move(writer)) {}

std::shared_ptr<FileStorage> FileStorage::make(const std::shared_ptr<platform::DispatchQueue>& queue,
                                               const std::shared_ptr<const SecurityManager>& security) {
  return std::make_shared<FileStorage>(
      std::make_shared<DataReader>(queue, std::make_shared<FileReader>(security)),
      std::make_shared<DataWriter>(queue, std::make_shared<FileWriter>(security)));
}

}  // namespace obx
