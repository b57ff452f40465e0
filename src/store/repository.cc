#include "store/repository.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "base/logger.h"
#include "platform/files/file_manager.h"

namespace obx {
namespace {

// The integer a file name spells, or 0, as the platform's integer parsing with a default does.
std::int64_t nameNumber(const std::string& name) {
  if (name.empty() || name.size() > 18) return 0;
  std::int64_t value = 0;
  for (char c : name) {
    if (c < '0' || c > '9') return 0;
    value = value * 10 + (c - '0');
  }
  return value;
}

std::string screenIDOf(const std::string& batchID) {
  auto underscore = batchID.find('_');
  return underscore == std::string::npos ? batchID : batchID.substr(0, underscore);
}

}  // namespace

Repository::Repository(std::shared_ptr<SDKConfiguration> configuration, std::shared_ptr<Storage> storage,
                       std::shared_ptr<const MemoryFootprintProviding> devicePerformance, double physicalMemoryMiB,
                       std::shared_ptr<platform::Scheduler> scheduler)
    : configuration_(std::move(configuration)),
      storage_(std::move(storage)),
      devicePerformance_(std::move(devicePerformance)),
      physicalMemoryMiB_(physicalMemoryMiB),
      scheduler_(std::move(scheduler)),
      root_(Directory::root(Directory::kRootPath, true)) {}

platform::Date Repository::now() const { return scheduler_->clock().now(); }

std::optional<Directory> Repository::batchDirectory(const std::string& batchID) const {
  try {
    return root_.appending(batchID, true);
  } catch (const FileError& error) {
    Logger::log("Error creating directory: " + error.description, LogLevel::developer);
    return std::nullopt;
  }
}

std::string Repository::encodeDate(platform::Date date) {
  const double seconds = date - kReferenceDateOffset;
  // Whole seconds are written as an integer, as the platform's encoder does; others in full precision.
  if (std::trunc(seconds) == seconds && std::fabs(seconds) < 9.0e15) {
    return encodeJSON(Json(static_cast<std::int64_t>(seconds)));
  }
  return encodeJSON(Json(seconds));
}

std::optional<platform::Date> Repository::readDateFile(const std::filesystem::path& batchDirectory) {
  auto bytes = platform::contentsAtPath(batchDirectory / kDateFileName);
  if (!bytes) return std::nullopt;
  try {
    Json value = parseJSON(*bytes);
    if (!value.is_number()) return std::nullopt;
    return value.get<double>() + kReferenceDateOffset;
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

bool Repository::writeDateIfNeeded(const Directory& directory, const platform::Scheduler& scheduler,
                                   WriteFailureLog* failures) {
  if (directory.isDateKind()) return true;
  const auto path = directory.url / kDateFileName;
  // A date file that does not read (left empty by an older version killed while writing it) is
  // written again: without a date the batch would never expire.
  if (platform::fileExistsAtPath(path) && readDateFile(directory.url)) return true;
  if (auto error = platform::writeFileAtomically(path, encodeDate(scheduler.clock().now()))) {
    if (failures) {
      failures->failed("Error creating directory: " + *error);
    } else {
      Logger::log("Error creating directory: " + *error, LogLevel::developer);
    }
    return false;
  }
  return true;
}

std::optional<FileError> Repository::appendToRemadeFolder(const std::optional<FileError>& error,
                                                          const WriteValue& value, const Directory& directory,
                                                          const std::string& batchID, Storage& storage,
                                                          BatchFolders& folders,
                                                          const platform::Scheduler& scheduler) {
  folders.erase(batchID);
  // A folder still there means a real write failure: writing again could store the block twice.
  if (platform::directoryExistsAtPath(directory.url)) return error;
  if (auto failure = platform::createDirectoryAtPath(directory.url, true)) {
    Logger::log("Error creating directory: " + *failure, LogLevel::developer);
    return FileError{*failure};
  }
  auto retried = storage.writer().appendNow(value, directory, batchID);
  if (writeDateIfNeeded(directory, scheduler) && !retried) folders.insert(batchID, directory);
  return retried;
}

void Repository::save(WriteValue value, const std::string& batchID) {
  // The completions may run after this repository is gone: they hold only what they need.
  if (auto folder = folders_->find(batchID)) {
    // The value is kept for a second append, should the folder have gone by the time it runs.
    storage_->writer().append(
        value, folder->directory, batchID,
        [storage = storage_, folders = folders_, scheduler = scheduler_, failures = writeFailures_, folder, batchID,
         value](const std::optional<FileError>& error) {
          auto failure =
              error ? appendToRemadeFolder(error, value, folder->directory, batchID, *storage, *folders, *scheduler)
                    : std::nullopt;
          failures->record(failure, "Error save event");
        });
    return;
  }
  auto directory = batchDirectory(batchID);
  if (!directory) return;
  storage_->writer().append(std::move(value), *directory, batchID,
                            [scheduler = scheduler_, folders = folders_, directory = *directory, batchID,
                             failures = writeFailures_](const std::optional<FileError>& error) {
                              failures->record(error, "Error save event");
                              if (writeDateIfNeeded(directory, *scheduler, failures.get()) && !error) {
                                folders->insert(batchID, directory);
                              }
                            });
}

std::optional<FileError> Repository::saveNow(const WriteValue& value, const std::string& batchID) {
  if (auto folder = folders_->find(batchID)) {
    auto error = storage_->writer().appendNow(value, folder->events);
    if (error) error = appendToRemadeFolder(error, value, folder->directory, batchID, *storage_, *folders_, *scheduler_);
    writeFailures_->record(error, "Error save event");
    return error;
  }
  auto directory = batchDirectory(batchID);
  if (!directory) return FileError{"Error creating directory: " + root_.url.string() + "/" + batchID};
  auto error = storage_->writer().appendNow(value, *directory, batchID);
  writeFailures_->record(error, "Error save event");
  if (writeDateIfNeeded(*directory, *scheduler_, writeFailures_.get()) && !error) folders_->insert(batchID, *directory);
  return error;
}

void Repository::saveImage(const Image& image, const std::string& batchID) {
  auto directory = batchDirectory(batchID);
  if (!directory) return;
  Directory images;
  try {
    images = root_.appending(imagesDirectoryName(batchID), true);
  } catch (const FileError& error) {
    Logger::log("Error creating directory: " + error.description, LogLevel::developer);
    return;
  }
  storage_->writer().append(WriteValue::encodable(image), images, std::to_string(image.index),
                            [scheduler = scheduler_, directory = *directory,
                             failures = writeFailures_](const std::optional<FileError>& error) {
                              failures->record(error, "Error save image");
                              writeDateIfNeeded(directory, *scheduler, failures.get());
                            });
}

std::optional<FileError> Repository::saveImageNow(const Image& image, const std::string& batchID) {
  auto directory = batchDirectory(batchID);
  if (!directory) return FileError{"Error creating directory: " + root_.url.string() + "/" + batchID};
  Directory images;
  try {
    images = root_.appending(imagesDirectoryName(batchID), true);
  } catch (const FileError& error) {
    return FileError{"Error creating directory: " + error.description};
  }
  auto error = storage_->writer().appendNow(WriteValue::encodable(image), images, std::to_string(image.index));
  writeFailures_->record(error, "Error save image");
  writeDateIfNeeded(*directory, *scheduler_, writeFailures_.get());
  return error;
}

std::vector<std::string> Repository::events(const std::string& batchID) {
  Directory directory = root_.appending(batchID, false);
  return storage_->reader().read(directory, batchID).value_or(std::vector<std::string>{});
}

std::string Repository::imagesDirectoryName(const std::string& batchID) const {
  std::string format = configuration_ ? configuration_->common().tempImagesDirectory : "%@/cache";
  auto placeholder = format.find("%@");
  if (placeholder != std::string::npos) format.replace(placeholder, 2, batchID);
  return format;
}

std::vector<Image> Repository::images(const std::string& batchID) {
  const int maxImages = configuration_ ? configuration_->common().kMaxImagesVideoRecording : 2000;
  Directory directory = root_.appending(imagesDirectoryName(batchID), false);
  if (!platform::directoryExistsAtPath(directory.url)) return {};
  std::vector<File> files = storage_->reader().files(directory);
  if (files.empty()) return {};
  std::stable_sort(files.begin(), files.end(),
                   [](const File& a, const File& b) { return nameNumber(a.name) < nameNumber(b.name); });
  const std::size_t limit = static_cast<std::size_t>(std::max(0, maxImages));
  if (files.size() > limit) files.erase(files.begin() + static_cast<std::ptrdiff_t>(limit), files.end());

  std::vector<Image> images;
  for (const auto& file : files) {
    if (devicePerformance_ &&
        devicePerformance_->memoryFootprintMiB() > physicalMemoryMiB_ / kMemoryCeilingDivisor) {
      break;
    }
    auto block = storage_->reader().readFirst(directory, file.name);
    if (!block) continue;
    try {
      images.push_back(parseJSON(*block).get<Image>());
    } catch (const DecodingError&) {
    } catch (const nlohmann::json::exception&) {
    }
  }
  return images;
}

std::vector<Repository::DirectoryDate> Repository::readyBatches(const std::optional<BatchContext>& current) {
  return readyBatches(current ? std::optional<std::string>(current->id) : std::nullopt);
}

std::vector<Repository::DirectoryDate> Repository::readyBatches(const std::optional<std::string>& currentBatchID) {
  double maxTimeFileSaved = 1296000.0;
  double restingAge = kRestingAge;
  if (configuration_) {
    const Common common = configuration_->common();
    maxTimeFileSaved = common.maxTimeFileSaved;
    restingAge = common.dataIntegrityBatchDelay;
  }
  const platform::Date date = now();
  std::vector<DirectoryDate> ready;
  // The platform lists folders in no fixed order; by name, a screen's batches come in the order
  // they were opened, as their IDs end with the opening time.
  auto directories = storage_->reader().subdirectories(root_);
  std::sort(directories.begin(), directories.end(),
            [](const Directory& a, const Directory& b) { return a.name() < b.name(); });
  for (auto& directory : directories) {
    if (currentBatchID && directory.name() == *currentBatchID) continue;
    if (directory.name() == Logger::kLogsDirectoryName) {
      expireSessionLogs(maxTimeFileSaved, date);
      continue;
    }
    const platform::Date created = readDateFile(directory.url).value_or(date - kUndatedAge);
    const double age = date - created;
    if (age <= restingAge) continue;
    if (age > maxTimeFileSaved) {
      folders_->erase(directory.name());
      if (platform::removeItemAtPath(directory.url)) Logger::log("Error deleting old file", LogLevel::developer);
      continue;
    }
    ready.push_back({std::move(directory), created});
  }
  return ready;
}

void Repository::expireSessionLogs(double maxTimeFileSaved, platform::Date date) {
  Directory logs = root_.appending(Logger::kLogsDirectoryName, false);
  for (const Directory& session : storage_->reader().subdirectories(logs)) {
    auto created = readDateFile(session.url);
    if (!created) {
      writeDateIfNeeded(session, *scheduler_);
      continue;
    }
    if (date - *created > maxTimeFileSaved) {
      if (platform::removeItemAtPath(session.url)) Logger::log("Error deleting old file", LogLevel::developer);
    }
  }
}

std::vector<ScreenBatches> Repository::screenBatches(const std::vector<DirectoryDate>& batches) {
  std::vector<ScreenBatches> screens;
  std::map<std::string, std::size_t> indexByScreen;
  for (const auto& batch : batches) {
    const std::string batchID = batch.directory.name();
    const std::string screenID = screenIDOf(batchID);
    auto [found, inserted] = indexByScreen.try_emplace(screenID, screens.size());
    if (inserted) {
      screens.push_back({screenID, {batchID}, batch.date});
    } else {
      auto& screen = screens[found->second];
      screen.batchesNames.push_back(batchID);
      screen.date = std::min(screen.date, batch.date);
    }
  }
  std::stable_sort(screens.begin(), screens.end(),
                   [](const ScreenBatches& a, const ScreenBatches& b) { return a.date < b.date; });
  return screens;
}

ScreenToSend Repository::screenToSend(const ScreenBatches& screen) {
  ScreenToSend result;
  result.id = screen.batchesNames.empty() ? screen.screenID : screen.batchesNames.back();
  std::vector<Image> images;
  for (const auto& batchID : screen.batchesNames) {
    auto blocks = events(batchID);
    result.events.insert(result.events.end(), std::make_move_iterator(blocks.begin()),
                         std::make_move_iterator(blocks.end()));
    auto batchImages = this->images(batchID);
    images.insert(images.end(), std::make_move_iterator(batchImages.begin()),
                  std::make_move_iterator(batchImages.end()));
  }
  result.images = std::move(images);
  result.batchesName = screen.batchesNames;
  return result;
}

std::optional<std::string> Repository::deleteImages(const std::string& batchID) {
  return platform::removeItemAtPath(root_.appending(imagesDirectoryName(batchID), false).url);
}

std::optional<std::string> Repository::deleteBatch(const std::string& batchID) {
  folders_->erase(batchID);
  return platform::removeItemAtPath(root_.appending(batchID, false).url);
}

}  // namespace obx
