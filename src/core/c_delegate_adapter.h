// CDelegateAdapter: the OBXDelegate of a host that binds through the C API. It forwards each call
// to the callback table the host installed (obx_delegate), converting the records to C: the live
// configuration as JSON text, the measure and the sampling decision as plain structs. The table can
// be replaced at any time from any thread; a call copies it out under the lock and runs it outside.
// Every callback runs on the adapter's own serial queue, "obx.ombrix.c-delegate", in the order the
// SDK told them: never on the stack of the SDK code that told it (which may be a host's call such
// as obx_set_retention, or a main-queue block the host drains), and nothing in the SDK ever waits
// for a callback, so a callback that waits for the host's own thread cannot deadlock the SDK.
#pragma once

#include <functional>
#include <memory>
#include <mutex>  // read_write_lock.h uses std::unique_lock without including it
#include <optional>
#include <string>

#include "base/read_write_lock.h"
#include "obx/delegate.h"
#include "obx/obx.h"
#include "platform/dispatch/dispatch_queue.h"

namespace obx {

class CDelegateAdapter final : public OBXDelegate, public std::enable_shared_from_this<CDelegateAdapter> {
 public:
  // The one adapter that the C API hands to the SDK; it lives as long as the process and calls on
  // the default scheduler of the moment.
  static const std::shared_ptr<CDelegateAdapter>& shared();

  // Calls on a queue of `scheduler`; null means platform::defaultScheduler() at each call.
  explicit CDelegateAdapter(std::shared_ptr<platform::Scheduler> scheduler = nullptr);

  // Copies the table; null removes it.
  void setTable(const obx_delegate* table);
  bool hasTable() const;

  void liveConfig(const LiveConfigurationMultiplatform& configuration) override;
  void performance(const PerformanceMultiplatform& performance) override;
  void sampling(const SamplingMultiplatform& sampling) override;

 private:
  // Runs `call` with the table of the moment on the delegate queue, when a table is installed.
  void post(std::function<void(const obx_delegate&)> call);
  std::shared_ptr<platform::DispatchQueue> queue();

  std::shared_ptr<platform::Scheduler> scheduler_;
  ReadWriteLock<std::optional<obx_delegate>> table_;
  std::mutex queueMutex_;
  std::shared_ptr<platform::DispatchQueue> queue_;
};

// The record as one JSON object, keys the field names in record order, absent fields left out.
std::string liveConfigurationJSON(const LiveConfigurationMultiplatform& configuration);

}  // namespace obx
