#include "testing/spool.h"

#include <filesystem>

#include "store/file_storage.h"
#include "store/files/security.h"

namespace obx::testing {

Spool::Spool(std::shared_ptr<platform::Scheduler> scheduler, Options options)
    : scheduler_(std::move(scheduler)),
      readWrite_(platform::DispatchQueue::makeSerial(scheduler_, "obx.ombrix.read-write")) {
  reopen(std::move(options));
}

void Spool::reopen(Options options) {
  configuration_ = options.configuration
                       ? options.configuration
                       : std::make_shared<SDKConfiguration>(
                             Configuration("account", "property", options.consent, false, true, false, false, false),
                             options.platform, scheduler_);
  dataController_ = std::make_shared<DataController>(
      std::make_shared<Repository>(configuration_, FileStorage::make(readWrite_, std::make_shared<Security>()),
                                   options.footprint, options.physicalMemoryMiB, scheduler_));
}

std::shared_ptr<DataController> Spool::openStore(std::shared_ptr<SDKConfiguration> configuration,
                                                 std::shared_ptr<platform::Scheduler> scheduler,
                                                 std::shared_ptr<platform::DispatchQueue> queue) {
  if (!queue) queue = platform::DispatchQueue::makeSerial(scheduler, "obx.ombrix.read-write");
  return std::make_shared<DataController>(std::make_shared<Repository>(
      std::move(configuration), FileStorage::make(std::move(queue), std::make_shared<Security>()), nullptr, 0.0,
      std::move(scheduler)));
}

BatchContext Spool::batch(const std::string& id, platform::Date dateScreen, const std::string& name,
                          bool discardTracking) {
  return BatchContext{id, ViewContext{id.substr(0, id.find('_')), dateScreen, name, {390, 844}, false, discardTracking}};
}

std::vector<std::string> Spool::batchIDs() const {
  std::vector<std::string> ids;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(sandbox_.storeRoot(), error)) {
    const std::string name = entry.path().filename().string();
    if (entry.is_directory() && name.find('_') != std::string::npos) ids.push_back(name);
  }
  return ids;
}

std::vector<Json> Spool::events(const std::string& batchID) const {
  std::vector<Json> list;
  for (const std::string& block : dataController_->repository().events(batchID)) list.push_back(parseJSON(block));
  return list;
}

std::vector<Json> Spool::payloads(const BatchContext& batch, const std::string& type) const {
  std::vector<Json> list;
  for (const Json& event : events(batch)) {
    if (event["t"] == type) list.push_back(event["d"]);
  }
  return list;
}

std::vector<std::string> Spool::types(const BatchContext& batch) const {
  std::vector<std::string> list;
  for (const Json& event : events(batch)) list.push_back(event["t"].get<std::string>());
  return list;
}

}  // namespace obx::testing
