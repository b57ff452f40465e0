#include "network/network_core.h"

#include <algorithm>

#include "network/download_url_interceptor_handle.h"
#include "network/download_url_request_interceptor_handle.h"
#include "network/network_event_builder.h"
#include "network/upload_file_interceptor_handle.h"
#include "network/upload_interceptor_handle.h"
#include "network/url_interceptor_handle.h"
#include "network/url_request_interceptor_handle.h"
#include "store/data_controller.h"

namespace obx {

std::shared_ptr<NetworkCore> NetworkCore::make(NetworkDependencies dependencies,
                                               std::shared_ptr<DataController> dataController,
                                               std::shared_ptr<platform::Scheduler> scheduler) {
  if (!dataController || !scheduler) return nullptr;
  auto core =
      std::make_shared<NetworkCore>(Token{}, std::move(dependencies), std::move(dataController), std::move(scheduler));
  core->start();
  return core;
}

NetworkCore::NetworkCore(Token, NetworkDependencies dependencies, std::shared_ptr<DataController> dataController,
                         std::shared_ptr<platform::Scheduler> scheduler)
    : dependencies_(std::move(dependencies)),
      scheduler_(std::move(scheduler)),
      networkQueue_(platform::DispatchQueue::makeSerial(scheduler_, kQueueLabel)),
      networkConfiguration_(std::make_unique<NetworkConfiguration>(dependencies_.configuration, networkQueue_)),
      dataController_(std::move(dataController)),
      urlInterceptorHandle_(std::make_unique<URLInterceptorHandle>(scheduler_)),
      urlRequestInterceptorHandle_(std::make_unique<URLRequestInterceptorHandle>(scheduler_)),
      downloadURLInterceptorHandle_(std::make_unique<DownloadURLInterceptorHandle>(scheduler_)),
      downloadURLRequestInterceptorHandle_(std::make_unique<DownloadURLRequestInterceptorHandle>(scheduler_)),
      uploadInterceptorHandle_(std::make_unique<UploadInterceptorHandle>(scheduler_)),
      uploadFileInterceptorHandle_(std::make_unique<UploadFileInterceptorHandle>(scheduler_)) {}

std::vector<URLInterceptorObserving*> NetworkCore::interceptors() const {
  return {urlInterceptorHandle_.get(),         urlRequestInterceptorHandle_.get(),
          downloadURLInterceptorHandle_.get(), downloadURLRequestInterceptorHandle_.get(),
          uploadInterceptorHandle_.get(),      uploadFileInterceptorHandle_.get()};
}

void NetworkCore::start() {
  for (URLInterceptorObserving* interceptor : interceptors()) interceptor->start();
  if (auto batchCoordinator = dependencies_.batchCoordinator) {
    batchCoordinator->add(batchObserver());
    if (auto batch = batchCoordinator->batchContext()) batchObserver()->deliver(batch, std::nullopt);
  }
  networkConfiguration_->observe();
  if (auto appCycle = dependencies_.appCycle) appCycle->add(appStateObserver());
  for (URLInterceptorObserving* interceptor : interceptors()) interceptor->add(interceptorObserver());
}

NetworkCore::~NetworkCore() {
  for (URLInterceptorObserving* interceptor : interceptors()) {
    interceptor->stop();
    if (interceptorObserver_) interceptor->remove(interceptorObserver_);
  }
  if (dependencies_.batchCoordinator && batchObserver_) dependencies_.batchCoordinator->remove(batchObserver_);
  if (dependencies_.appCycle && appStateObserver_) dependencies_.appCycle->remove(appStateObserver_);
}

void NetworkCore::record(URLSessionDataIntercepted request) {
  std::weak_ptr<NetworkCore> weak = weak_from_this();
  networkQueue_->async([weak, request = std::move(request)] {
    if (auto self = weak.lock()) self->httpInterceptorDetected(request);
  });
}

// MARK: - Observers

std::shared_ptr<BatchObserverValue> NetworkCore::batchObserver() {
  if (!batchObserver_) {
    std::weak_ptr<NetworkCore> weak = weak_from_this();
    batchObserver_ = BatchObserverValue::make(
        networkQueue_, [weak](const std::optional<BatchContext>& batch, const std::optional<BatchContext>&) {
          if (auto self = weak.lock()) self->batchDetected(batch);
        });
  }
  return batchObserver_;
}

std::shared_ptr<ObserverValue<AppStateCycle>> NetworkCore::appStateObserver() {
  if (!appStateObserver_) {
    std::weak_ptr<NetworkCore> weak = weak_from_this();
    appStateObserver_ =
        ObserverValue<AppStateCycle>::make(networkQueue_, [weak](const AppStateCycle& state, const AppStateCycle&) {
          if (auto self = weak.lock()) self->appStateChanged(state);
        });
  }
  return appStateObserver_;
}

std::shared_ptr<InterceptedObserverValue> NetworkCore::interceptorObserver() {
  if (!interceptorObserver_) {
    std::weak_ptr<NetworkCore> weak = weak_from_this();
    interceptorObserver_ = InterceptedObserverValue::make(
        networkQueue_,
        [weak](const std::optional<URLSessionDataIntercepted>& value, const std::optional<URLSessionDataIntercepted>&) {
          if (auto self = weak.lock()) self->httpInterceptorDetected(value);
        });
  }
  return interceptorObserver_;
}

void NetworkCore::batchDetected(const std::optional<BatchContext>& batch) { batchContext_ = batch; }

void NetworkCore::appStateChanged(AppStateCycle state) {
  // A request that ends while the application is in the background is not recorded.
  if (state == AppStateCycle::background) batchContext_.reset();
}

void NetworkCore::httpInterceptorDetected(const std::optional<URLSessionDataIntercepted>& value) {
  if (!value || !batchContext_) return;
  const Common common = networkConfiguration_->common();
  const ViewContext& screen = batchContext_->viewContext;
  if (common.disableScreenTracking) {
    const auto& names = *common.disableScreenTracking;
    if (std::find(names.begin(), names.end(), screen.name) != names.end()) return;
  }
  if (screen.discardTracking) return;
  const platform::Date now = scheduler_->clock().now();
  auto network = NetworkEventBuilder::build(*value, common, now);
  if (!network) return;
  dataController_->saveEvent(EventType::network, now, *network, *batchContext_);
}

}  // namespace obx
