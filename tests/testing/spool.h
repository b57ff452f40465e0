// Spool: the store a test writes into and reads back. It points the sandbox at a fresh folder for
// its life, and holds the read-write queue, an SDKConfiguration, a Repository over enciphered block
// files and its DataController. A test names its batches with `batch` and reads a batch's events
// back as JSON, in file order. Read after the queues have run: under the manual scheduler, after
// runUntilIdle().
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "config/sdk_configuration.h"
#include "lifecycle/batch_context.h"
#include "platform/dispatch/dispatch_queue.h"
#include "store/data_controller.h"
#include "store/events/json_coding.h"
#include "store/repository.h"
#include "store/store_test_support.h"

namespace obx::testing {

// What a spool's store is made of; each `with` sets one part and returns the options.
struct SpoolOptions {
  Consent consent = Consent::analyticsAndRecording;
  Platform platform = Platform::native();
  // Used as it is when given; else made from `consent` and `platform`.
  std::shared_ptr<SDKConfiguration> configuration;
  std::shared_ptr<const MemoryFootprintProviding> footprint;
  double physicalMemoryMiB = 16384.0;

  SpoolOptions& withConsent(Consent value) { return consent = value, *this; }
  SpoolOptions& withPlatform(Platform value) { return platform = std::move(value), *this; }
  SpoolOptions& withConfiguration(std::shared_ptr<SDKConfiguration> value) {
    return configuration = std::move(value), *this;
  }
  SpoolOptions& withFootprint(std::shared_ptr<const MemoryFootprintProviding> value) {
    return footprint = std::move(value), *this;
  }
  SpoolOptions& withPhysicalMemory(double mebibytes) { return physicalMemoryMiB = mebibytes, *this; }
};

class Spool {
 public:
  using Options = SpoolOptions;

  explicit Spool(std::shared_ptr<platform::Scheduler> scheduler, Options options = {});
  Spool(const Spool&) = delete;
  Spool& operator=(const Spool&) = delete;

  // A new configuration, repository and controller over the same files and queue.
  void reopen(Options options = {});
  // A store over the spool folder of the sandbox in use, as a run of the application has it: its
  // own read-write queue unless one is given, no footprint, no image-reading ceiling.
  static std::shared_ptr<DataController> openStore(std::shared_ptr<SDKConfiguration> configuration,
                                                   std::shared_ptr<platform::Scheduler> scheduler,
                                                   std::shared_ptr<platform::DispatchQueue> queue = nullptr);

  // Batch `id` ("<screenID>_<n>") of a screen called `name`, shown since `dateScreen`.
  static BatchContext batch(const std::string& id, platform::Date dateScreen, const std::string& name = "Screen",
                            bool discardTracking = false);

  // The batch folders in the spool, by name, in no particular order.
  std::vector<std::string> batchIDs() const;
  std::vector<Json> events(const std::string& batchID) const;
  std::vector<Json> events(const BatchContext& batch) const { return events(batch.id); }
  // The payloads of the events of `type`, and the types of all, in file order.
  std::vector<Json> payloads(const BatchContext& batch, const std::string& type) const;
  std::vector<std::string> types(const BatchContext& batch) const;

  const TemporarySandbox& sandbox() const { return sandbox_; }
  const std::shared_ptr<platform::DispatchQueue>& readWrite() const { return readWrite_; }
  const std::shared_ptr<SDKConfiguration>& configuration() const { return configuration_; }
  Repository& repository() const { return dataController_->repository(); }
  const std::shared_ptr<DataController>& dataController() const { return dataController_; }

 private:
  std::shared_ptr<platform::Scheduler> scheduler_;
  TemporarySandbox sandbox_;
  std::shared_ptr<platform::DispatchQueue> readWrite_;
  std::shared_ptr<SDKConfiguration> configuration_;
  std::shared_ptr<DataController> dataController_;
};

}  // namespace obx::testing
