#include "crash/cr_core.h"

#include "crash/cr_handle.h"
#include "platform/files/sandbox.h"
#include "session/crash_snapshot.h"

namespace obx {

std::filesystem::path CRCore::recordsFolder() { return platform::applicationSupportDirectory() / kRecordsFolderName; }

std::shared_ptr<CRCore> CRCore::make(CRDependencies dependencies, std::shared_ptr<platform::Scheduler> scheduler) {
  if (!scheduler) return nullptr;
  auto core = std::make_shared<CRCore>(Token{}, std::move(dependencies), std::move(scheduler));
  core->start();
  return core;
}

CRCore::CRCore(Token, CRDependencies dependencies, std::shared_ptr<platform::Scheduler> scheduler)
    : dependencies_(std::move(dependencies)),
      scheduler_(std::move(scheduler)),
      crashQueue_(platform::DispatchQueue::makeSerial(scheduler_, kQueueLabel)),
      crashHandle_(std::make_unique<CRHandle>(recordsFolder())) {}

void CRCore::start() {
  if (auto batchCoordinator = dependencies_.batchCoordinator) {
    batchCoordinator->add(batchObserver());
    if (auto batch = batchCoordinator->batchContext()) batchObserver()->deliver(batch, std::nullopt);
  }
}

CRCore::~CRCore() {
  if (dependencies_.batchCoordinator && batchObserver_) dependencies_.batchCoordinator->remove(batchObserver_);
  CrashSnapshot::publish(CrashSnapshot::Part::crash, std::nullopt);
}

bool CRCore::installed() const { return crashHandle_->installed(); }

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

void CRCore::batchDetected(const std::optional<BatchContext>& batch) {
  CrashSnapshot::publish(CrashSnapshot::Part::crash, batch);
}

}  // namespace obx
