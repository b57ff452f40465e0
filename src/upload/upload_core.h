// UploadCore: the upload feature's parts. It builds the parser and the worker on the serial queue
// "obx.ombrix.feature.Upload" and keeps the worker's connectivity current from reachability: the
// value at construction, if any, then every later change that has a value.
#pragma once

#include <memory>

#include "lifecycle/observing.h"
#include "lifecycle/reachability_observing.h"
#include "platform/dispatch/dispatch_queue.h"
#include "store/data_controller.h"
#include "upload/upload_worker.h"
#include "upload/uploader.h"
#include "upload/uploader_configuration.h"

namespace obx {

struct UploadDependencies {
  std::shared_ptr<BatchCoordinatorObserving> batchCoordinator;
  std::shared_ptr<SDKConfiguration> configuration;
  std::shared_ptr<ReachabilityObserving> reachability;
};

class UploadCore {
 public:
  static constexpr const char* kQueueLabel = "obx.ombrix.feature.Upload";

  // `uploader` carries the HTTP stack (session, retries, authorization gate) the screens go through.
  UploadCore(UploadDependencies dependencies, std::shared_ptr<DataController> dataController,
             std::shared_ptr<Uploader> uploader, std::shared_ptr<platform::Scheduler> scheduler);
  ~UploadCore();
  UploadCore(const UploadCore&) = delete;
  UploadCore& operator=(const UploadCore&) = delete;

  UploadWorker& uploaderWorker() { return *uploaderWorker_; }
  const std::shared_ptr<platform::DispatchQueue>& uploadQueue() const { return uploadQueue_; }

 private:
  UploadDependencies dependencies_;
  std::shared_ptr<DataController> dataController_;
  std::shared_ptr<UploaderConfiguration> configuration_;
  std::shared_ptr<platform::DispatchQueue> uploadQueue_;
  std::shared_ptr<UploadWorker> uploaderWorker_;
  std::shared_ptr<ReachabilityObserverValue> reachabilityObserver_;
};

}  // namespace obx
