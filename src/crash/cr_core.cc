#include "crash/cr_core.h"

#include <string_view>

#include "base/logger.h"
#include "crash/cr_handle.h"
#include "session/crash_coordinator.h"
#include "store/data_controller.h"

namespace obx {

std::shared_ptr<CRCore> CRCore::make(CRDependencies dependencies, std::shared_ptr<DataController> dataController,
                                     std::shared_ptr<platform::Scheduler> scheduler) {
  if (!dataController || !scheduler) return nullptr;
  auto core = std::make_shared<CRCore>(Token{}, std::move(dependencies), std::move(dataController),
                                       std::move(scheduler));
  core->start();
  return core;
}

CRCore::CRCore(Token, CRDependencies dependencies, std::shared_ptr<DataController> dataController,
               std::shared_ptr<platform::Scheduler> scheduler)
    : dependencies_(std::move(dependencies)),
      scheduler_(std::move(scheduler)),
      dataController_(std::move(dataController)),
      crashQueue_(platform::DispatchQueue::makeSerial(scheduler_, kQueueLabel)),
      crashHandle_(&CRHandle::shared()) {}

void CRCore::start() {
  if (auto batchCoordinator = dependencies_.batchCoordinator) {
    batchCoordinator->add(batchObserver());
    if (auto batch = batchCoordinator->batchContext()) batchObserver()->deliver(batch, std::nullopt);
  }
  CrashCoordinator::shared().add(shared_from_this());
}

CRCore::~CRCore() {
  if (dependencies_.batchCoordinator && batchObserver_) dependencies_.batchCoordinator->remove(batchObserver_);
  // This object can no longer be named by a shared pointer: dropping expired entries removes it.
  CrashCoordinator::shared().remove(std::shared_ptr<CRCore>());
}

std::shared_ptr<BatchObserverValue> CRCore::batchObserver() {
  if (!batchObserver_) {
    std::weak_ptr<CRCore> weak = weak_from_this();
    batchObserver_ = BatchObserverValue::make(
        crashQueue_, [weak](const std::optional<BatchContext>& batch, const std::optional<BatchContext>&) {
          if (auto self = weak.lock()) self->batchDetected(batch);
        });
  }
  return batchObserver_;
}

void CRCore::batchDetected(const std::optional<BatchContext>& batch) { batchContext_.publish(batch); }

void CRCore::crashed(const Crash& crash) {
  const std::optional<BatchContext>* batch = batchContext_.read();
  if (!batch || !*batch) return;
  auto error = dataController_->saveEventNow(EventType::crash, scheduler_->clock().now(), crash, **batch);
  if (!error) return;
  constexpr std::string_view kPrefix = "Error creating directory: ";
  std::string description = error->description;
  if (description.starts_with(kPrefix)) description.erase(0, kPrefix.size());
  Logger::log(std::string(kPrefix) + description + ".", LogLevel::developer);
}

}  // namespace obx
