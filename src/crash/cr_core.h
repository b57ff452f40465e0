// CRCore: writes the Crash record into the current batch while the process still lives. It
// follows the batch on "obx.ombrix.feature.CR" (crashQueue) and publishes each one as a snapshot
// that the crashing thread reads without a lock; the write itself goes to the store on the
// crashing thread and is on disk before `crashed` returns. A crash with no batch is lost.
#pragma once

#include <memory>
#include <optional>

#include "base/published_snapshot.h"
#include "crash/cr_dependencies.h"
#include "lifecycle/batch_context.h"
#include "lifecycle/observing.h"
#include "platform/dispatch/dispatch_queue.h"
#include "session/crash_coordinator_delegate.h"

namespace obx {

class CRHandle;
class DataController;

class CRCore final : public CrashCoordinatorDelegate, public std::enable_shared_from_this<CRCore> {
 public:
  static constexpr const char* kQueueLabel = "obx.ombrix.feature.CR";

  // Builds the core, installs the hooks on first use, takes the current batch and joins the
  // crash coordinator. Null without a DataController.
  static std::shared_ptr<CRCore> make(CRDependencies dependencies, std::shared_ptr<DataController> dataController,
                                      std::shared_ptr<platform::Scheduler> scheduler);
  ~CRCore() override;
  CRCore(const CRCore&) = delete;
  CRCore& operator=(const CRCore&) = delete;

  // CrashCoordinatorDelegate: on the crashing thread.
  void crashed(const Crash& crash) override;

  const std::shared_ptr<platform::DispatchQueue>& crashQueue() const { return crashQueue_; }

 private:
  struct Token {};

 public:
  CRCore(Token, CRDependencies dependencies, std::shared_ptr<DataController> dataController,
         std::shared_ptr<platform::Scheduler> scheduler);

 private:
  void start();
  void batchDetected(const std::optional<BatchContext>& batch);
  std::shared_ptr<BatchObserverValue> batchObserver();

  CRDependencies dependencies_;
  std::shared_ptr<platform::Scheduler> scheduler_;
  // Written on crashQueue, read by the crashing thread.
  PublishedSnapshot<std::optional<BatchContext>> batchContext_;
  std::shared_ptr<DataController> dataController_;
  std::shared_ptr<platform::DispatchQueue> crashQueue_;
  CRHandle* crashHandle_ = nullptr;
  std::shared_ptr<BatchObserverValue> batchObserver_;
};

}  // namespace obx
