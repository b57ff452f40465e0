// CDelegateAdapter: the OBXDelegate of a host that binds through the C API. It forwards each call
// to the callback table the host installed (obx_delegate), converting the records to C: the live
// configuration as JSON text, the measure and the sampling decision as plain structs. The table can
// be replaced at any time from any thread; a call copies it out under the lock and runs it outside.
#pragma once

#include <memory>
#include <mutex>  // read_write_lock.h uses std::unique_lock without including it
#include <optional>
#include <string>

#include "base/read_write_lock.h"
#include "obx/delegate.h"
#include "obx/obx.h"

namespace obx {

class CDelegateAdapter final : public OBXDelegate {
 public:
  // The one adapter that the C API hands to the SDK; it lives as long as the process.
  static const std::shared_ptr<CDelegateAdapter>& shared();

  // Copies the table; null removes it.
  void setTable(const obx_delegate* table);
  bool hasTable() const;

  void liveConfig(const LiveConfigurationMultiplatform& configuration) override;
  void performance(const PerformanceMultiplatform& performance) override;
  void sampling(const SamplingMultiplatform& sampling) override;

 private:
  ReadWriteLock<std::optional<obx_delegate>> table_;
};

// The record as one JSON object, keys the field names in record order, absent fields left out.
std::string liveConfigurationJSON(const LiveConfigurationMultiplatform& configuration);

}  // namespace obx
