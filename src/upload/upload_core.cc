#include "upload/upload_core.h"

namespace obx {

UploadCore::UploadCore(UploadDependencies dependencies, std::shared_ptr<DataController> dataController,
                       std::shared_ptr<Uploader> uploader, std::shared_ptr<platform::Scheduler> scheduler)
    : dependencies_(std::move(dependencies)),
      dataController_(std::move(dataController)),
      configuration_(std::make_shared<UploaderConfiguration>(dependencies_.configuration)),
      uploadQueue_(platform::DispatchQueue::makeSerial(scheduler, kQueueLabel)) {
  auto parser = std::make_shared<UploadParser>(configuration_, dataController_->repository().root().url, scheduler);
  uploaderWorker_ = UploadWorker::make(uploadQueue_, std::move(parser), dataController_, configuration_,
                                       dependencies_.batchCoordinator, std::move(uploader));
  if (!dependencies_.reachability) return;
  if (auto connection = dependencies_.reachability->connection()) uploaderWorker_->setCurrentConnectivity(*connection);
  std::weak_ptr<UploadWorker> weakWorker = uploaderWorker_;
  reachabilityObserver_ = ReachabilityObserverValue::make(
      uploadQueue_, [weakWorker](const std::optional<ReachabilityConnection>& connection,
                                 const std::optional<ReachabilityConnection>&) {
        auto worker = weakWorker.lock();
        if (worker && connection) worker->setCurrentConnectivity(*connection);
      });
  dependencies_.reachability->add(reachabilityObserver_);
}

UploadCore::~UploadCore() {
  if (dependencies_.reachability && reachabilityObserver_) dependencies_.reachability->remove(reachabilityObserver_);
}

}  // namespace obx
