#include "store/data_writer.h"

namespace obx {

DataWriter::DataWriter(std::shared_ptr<platform::DispatchQueue> queue, std::shared_ptr<Writer> file)
    : queue_(std::move(queue)), file_(std::move(file)) {}

void DataWriter::append(WriteValue value, const Directory& directory, const std::string& fileName,
                        WriteCompletion completion) {
  queue_->async([file = file_, value = std::move(value), directory, fileName,
                 completion = std::move(completion)]() mutable {
    file->append(std::move(value), directory, fileName, std::move(completion));
  });
}

void DataWriter::writeFromStart(WriteValue value, const Directory& directory, const std::string& fileName,
                                WriteCompletion completion) {
  queue_->async([file = file_, value = std::move(value), directory, fileName,
                 completion = std::move(completion)]() mutable {
    file->writeFromStart(std::move(value), directory, fileName, std::move(completion));
  });
}

std::optional<FileError> DataWriter::appendNow(const WriteValue& value, const Directory& directory,
                                               const std::string& fileName) {
  return file_->appendNow(value, directory, fileName);
}

std::optional<FileError> DataWriter::appendNow(const WriteValue& value, const File& file) {
  return file_->appendNow(value, file);
}

}  // namespace obx
