#include "store/data_reader.h"

namespace obx {

DataReader::DataReader(std::shared_ptr<platform::DispatchQueue> queue, std::shared_ptr<Reader> reader)
    : queue_(std::move(queue)), reader_(std::move(reader)) {}

std::optional<std::vector<std::string>> DataReader::read(const Directory& directory, const std::string& fileName) {
  std::optional<std::vector<std::string>> result;
  queue_->sync([&] { result = reader_->read(directory, fileName); });
  return result;
}

std::optional<std::string> DataReader::readFirst(const Directory& directory, const std::string& fileName) {
  std::optional<std::string> result;
  queue_->sync([&] { result = reader_->readFirst(directory, fileName); });
  return result;
}

std::vector<File> DataReader::files(const Directory& directory) {
  std::vector<File> result;
  queue_->sync([&] { result = reader_->files(directory); });
  return result;
}

std::vector<Directory> DataReader::subdirectories(const Directory& root) {
  std::vector<Directory> result;
  queue_->sync([&] { result = reader_->subdirectories(root); });
  return result;
}

}  // namespace obx
