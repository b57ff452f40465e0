// NetworkCore: turns what the six interceptors of the URL session's factory operations measure into
// "network" events of the current batch. It installs the interceptors when made and puts the
// replaced operations back when destroyed. Not recorded: requests that end with no batch current
// (between screens, in the background), on a screen listed in disableScreenTracking or discarded
// from tracking, without a URL or a method, and the SDK's own traffic to its collection endpoint.
//
// Threads: every observer runs on "obx.ombrix.feature.Network" (networkQueue), which alone touches
// the current batch; the interceptors report from the sessions' delegate queues through their
// notifiers, and record() may be called from any thread.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "lifecycle/app_state_cycle.h"
#include "lifecycle/batch_context.h"
#include "lifecycle/observing.h"
#include "network/network_configuration.h"
#include "network/network_dependencies.h"
#include "network/url_interceptor_observing.h"
#include "platform/dispatch/dispatch_queue.h"

namespace obx {

class DataController;
class URLInterceptorHandle;
class URLRequestInterceptorHandle;
class DownloadURLInterceptorHandle;
class DownloadURLRequestInterceptorHandle;
class UploadInterceptorHandle;
class UploadFileInterceptorHandle;

class NetworkCore final : public std::enable_shared_from_this<NetworkCore> {
 public:
  static constexpr const char* kQueueLabel = "obx.ombrix.feature.Network";

  // Builds the core, installs the interceptors and subscribes to the producers, taking the batch
  // that is already current. Null without a DataController.
  static std::shared_ptr<NetworkCore> make(NetworkDependencies dependencies,
                                           std::shared_ptr<DataController> dataController,
                                           std::shared_ptr<platform::Scheduler> scheduler);
  ~NetworkCore();
  NetworkCore(const NetworkCore&) = delete;
  NetworkCore& operator=(const NetworkCore&) = delete;

  const std::shared_ptr<platform::DispatchQueue>& networkQueue() const { return networkQueue_; }

  // A finished request measured by an HTTP client other than the URL session (a toolkit's own),
  // its date taken from this core's clock when the request was made. Decided and recorded on
  // networkQueue exactly as an intercepted one, own traffic and suppressed screens left out.
  void record(URLSessionDataIntercepted request);

 private:
  struct Token {};

 public:
  NetworkCore(Token, NetworkDependencies dependencies, std::shared_ptr<DataController> dataController,
              std::shared_ptr<platform::Scheduler> scheduler);

 private:
  void start();
  // The interceptors in the order they are installed, removed and observed.
  std::vector<URLInterceptorObserving*> interceptors() const;

  // Observers, on networkQueue.
  void batchDetected(const std::optional<BatchContext>& batch);
  void appStateChanged(AppStateCycle state);
  void httpInterceptorDetected(const std::optional<URLSessionDataIntercepted>& value);

  std::shared_ptr<BatchObserverValue> batchObserver();
  std::shared_ptr<ObserverValue<AppStateCycle>> appStateObserver();
  std::shared_ptr<InterceptedObserverValue> interceptorObserver();

  NetworkDependencies dependencies_;
  std::shared_ptr<platform::Scheduler> scheduler_;
  std::shared_ptr<platform::DispatchQueue> networkQueue_;
  std::unique_ptr<NetworkConfiguration> networkConfiguration_;
  std::shared_ptr<DataController> dataController_;
  std::unique_ptr<URLInterceptorHandle> urlInterceptorHandle_;
  std::unique_ptr<URLRequestInterceptorHandle> urlRequestInterceptorHandle_;
  std::unique_ptr<DownloadURLInterceptorHandle> downloadURLInterceptorHandle_;
  std::unique_ptr<DownloadURLRequestInterceptorHandle> downloadURLRequestInterceptorHandle_;
  std::unique_ptr<UploadInterceptorHandle> uploadInterceptorHandle_;
  std::unique_ptr<UploadFileInterceptorHandle> uploadFileInterceptorHandle_;
  std::optional<BatchContext> batchContext_;

  std::shared_ptr<ObserverValue<AppStateCycle>> appStateObserver_;
  std::shared_ptr<BatchObserverValue> batchObserver_;
  std::shared_ptr<InterceptedObserverValue> interceptorObserver_;
};

}  // namespace obx
