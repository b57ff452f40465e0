// CRCore: crash capture while the feature lives. Its handle installs the process's crash hooks, which
// write a raw record of a crash to this process's record file; the core keeps the batch that a crash
// goes into current in the crash snapshot, following the batches on "obx.ombrix.feature.CR"
// (crashQueue). The next start turns the record into the `crash` event (CRPendingReports).
#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "crash/cr_dependencies.h"
#include "lifecycle/batch_context.h"
#include "lifecycle/observing.h"
#include "platform/dispatch/dispatch_queue.h"

namespace obx {

class CRHandle;

class CRCore final : public std::enable_shared_from_this<CRCore> {
 public:
  static constexpr const char* kQueueLabel = "obx.ombrix.feature.CR";
  static constexpr const char* kRecordsFolderName = "obx.ombrix.crash";

  // Where the processes of this sandbox write their crash records: beside the spool.
  static std::filesystem::path recordsFolder();

  // Builds the core, installs the hooks, takes the current batch. Null without a scheduler.
  static std::shared_ptr<CRCore> make(CRDependencies dependencies, std::shared_ptr<platform::Scheduler> scheduler);
  ~CRCore();
  CRCore(const CRCore&) = delete;
  CRCore& operator=(const CRCore&) = delete;

  const std::shared_ptr<platform::DispatchQueue>& crashQueue() const { return crashQueue_; }
  // The hooks are in place.
  bool installed() const;

 private:
  struct Token {};

 public:
  CRCore(Token, CRDependencies dependencies, std::shared_ptr<platform::Scheduler> scheduler);

 private:
  void start();
  void batchDetected(const std::optional<BatchContext>& batch);
  std::shared_ptr<BatchObserverValue> batchObserver();

  CRDependencies dependencies_;
  std::shared_ptr<platform::Scheduler> scheduler_;
  std::shared_ptr<platform::DispatchQueue> crashQueue_;
  std::unique_ptr<CRHandle> crashHandle_;
  std::shared_ptr<BatchObserverValue> batchObserver_;
};

}  // namespace obx
