// UploadWorker: the upload loop. Every `sendBatchDelay` seconds, on its serial queue, a cycle checks
// its gates (configuration finished, no pass running, service online, a connection, cellular allowed)
// and starts a pass: the oldest ready screens, at most `screenBatchToSend`, each parsed into its ZIP
// and posted in turn. A screen's upload starts only once the one before has finished, so exactly one
// request is in flight. What the server took, or refused for good, is deleted from the disk; a screen
// that failed for a passing reason stays for a later pass.
//
// A pass is running while `screenToSendCount` is above 0. After a `stop` outcome the service is
// considered offline and no pass starts; once the stopped pass has ended and kServiceRecoveryDelay
// has passed, the service is tried again with a fresh pass, so that an outage of the collection
// server doesn't hold the spool back until the next start of the application. The work item lives in
// `_uploadWork` from construction to destruction; destruction cancels it. Connectivity is written
// from the reachability observer's queue; everything else runs on `queue`.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/read_write_lock.h"
#include "lifecycle/app_state_cycle.h"
#include "lifecycle/observing.h"
#include "platform/dispatch/dispatch_queue.h"
#include "store/data_controller.h"
#include "upload/send_result.h"
#include "upload/upload_parser.h"
#include "upload/uploader.h"
#include "upload/uploader_configuration.h"

namespace obx {

class UploadWorker : public std::enable_shared_from_this<UploadWorker> {
 public:
  // Seconds after a `stop` before the service is tried again.
  static constexpr double kServiceRecoveryDelay = 300.0;

  // Builds the worker and schedules its first cycle `sendBatchDelay` seconds from now.
  static std::shared_ptr<UploadWorker> make(std::shared_ptr<platform::DispatchQueue> queue,
                                            std::shared_ptr<UploadParser> uploadParser,
                                            std::shared_ptr<DataController> dataController,
                                            std::shared_ptr<UploaderConfiguration> configuration,
                                            std::shared_ptr<BatchCoordinatorObserving> batchCoordinator,
                                            std::shared_ptr<Uploader> uploader);
  ~UploadWorker();
  UploadWorker(const UploadWorker&) = delete;
  UploadWorker& operator=(const UploadWorker&) = delete;

  void setCurrentConnectivity(ReachabilityConnection connection) { currentConnectivity_.store(connection); }
  ReachabilityConnection currentConnectivity() const { return currentConnectivity_.load(); }
  bool isServiceOnline() const { return isServiceOnline_.load(); }
  int screenToSendCount() const { return screenToSendCount_.load(); }
  const std::shared_ptr<platform::DispatchQueue>& queue() const { return queue_; }

 private:
  struct Pass;

  UploadWorker(std::shared_ptr<platform::DispatchQueue> queue, std::shared_ptr<UploadParser> uploadParser,
               std::shared_ptr<DataController> dataController, std::shared_ptr<UploaderConfiguration> configuration,
               std::shared_ptr<BatchCoordinatorObserving> batchCoordinator, std::shared_ptr<Uploader> uploader);

  void start();
  void cycle();
  void reschedule();
  std::vector<ScreenToSend> screensToSend(const Common& common);
  // Sends the pass's screen at `pass->next`, then the following ones, one at a time.
  void sendNext(std::shared_ptr<Pass> pass);
  void sendScreen(const ScreenToSend& screen, std::function<void()> done);
  void finishScreen(const ScreenToSend& screen, const SendResult& result);
  void deleteBatches(const ScreenToSend& screen);
  void finishScreenUnsent();
  // Brings an offline service back once the delay since its stop has passed and no pass runs.
  void recoverServiceIfDue();

  std::shared_ptr<platform::DispatchQueue> queue_;
  ReadWriteLock<std::shared_ptr<platform::DispatchWorkItem>> uploadWork_;
  std::shared_ptr<UploadParser> uploadParser_;
  std::shared_ptr<DataController> dataController_;
  std::shared_ptr<UploaderConfiguration> configuration_;
  std::shared_ptr<BatchCoordinatorObserving> batchCoordinator_;
  std::shared_ptr<Uploader> uploader_;
  std::atomic<ReachabilityConnection> currentConnectivity_{ReachabilityConnection::none};
  std::atomic<bool> isServiceOnline_{true};
  std::atomic<int> screenToSendCount_{0};
  // Queue-only: whether a pass's screens are still being taken in turn, and when the service stopped.
  bool passRunning_ = false;
  std::optional<platform::Date> stoppedAt_;
};

}  // namespace obx
