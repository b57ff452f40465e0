// URLSession: HTTP(S) and file transfers over libcurl. Tasks are made suspended by the six factory
// operations; once resumed they run on one process-wide transfer thread, never on the caller's,
// and each completion handler runs on the session's delegate queue, a serial queue, so handlers of
// one session never overlap.
//
// URLSession is a run-time class, "NSURLSession": its six factory operations are sent through the
// class's method table (platform/runtime), so that network capture can replace each with
// methodSetImplementation, call the implementation it replaced, and put it back.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/dispatch/dispatch_queue.h"
#include "platform/net/url_session_configuration.h"
#include "platform/net/url_session_protocol.h"
#include "platform/net/url_session_task.h"
#include "platform/runtime/runtime.h"

namespace obx::platform {

class URLSession final : public Object, public URLSessionProtocol {
 public:
  // Selectors of the six factory operations in the class's method table.
  static constexpr const char* kDataTaskWithRequest = "dataTaskWithRequest:completionHandler:";
  static constexpr const char* kDataTaskWithURL = "dataTaskWithURL:completionHandler:";
  static constexpr const char* kUploadTaskWithRequestFromData = "uploadTaskWithRequest:fromData:completionHandler:";
  static constexpr const char* kUploadTaskWithRequestFromFile = "uploadTaskWithRequest:fromFile:completionHandler:";
  static constexpr const char* kDownloadTaskWithRequest = "downloadTaskWithRequest:completionHandler:";
  static constexpr const char* kDownloadTaskWithURL = "downloadTaskWithURL:completionHandler:";

  // Signatures of their implementations (receiver first), for Implementation::make and
  // Implementation::as. The receiver is always a URLSession.
  using DataTaskWithRequestIMP = std::shared_ptr<URLSessionDataTask>(Object&, const URLRequest&, DataTaskCompletion);
  using DataTaskWithURLIMP = std::shared_ptr<URLSessionDataTask>(Object&, const URL&, DataTaskCompletion);
  using UploadTaskFromDataIMP = std::shared_ptr<URLSessionUploadTask>(Object&, const URLRequest&, const Data&,
                                                                      DataTaskCompletion);
  using UploadTaskFromFileIMP = std::shared_ptr<URLSessionUploadTask>(Object&, const URLRequest&, const URL&,
                                                                      DataTaskCompletion);
  using DownloadTaskWithRequestIMP = std::shared_ptr<URLSessionDownloadTask>(Object&, const URLRequest&,
                                                                             DownloadTaskCompletion);
  using DownloadTaskWithURLIMP = std::shared_ptr<URLSessionDownloadTask>(Object&, const URL&, DownloadTaskCompletion);

  // The class "NSURLSession", with the six methods in its table.
  static Class* runtimeClass();
  // The implementation the class was registered with for `selector`, whatever replaced it since;
  // null for another selector.
  static IMP originalImplementation(const Selector& selector);

  // Completion handlers run on `delegateQueue`; without one the session makes its own serial queue
  // on `scheduler`.
  static std::shared_ptr<URLSession> make(URLSessionConfiguration configuration, std::shared_ptr<Scheduler> scheduler,
                                          std::shared_ptr<DispatchQueue> delegateQueue = nullptr);
  // A session with the default configuration on the default scheduler, made on first use.
  static std::shared_ptr<URLSession> shared();

  URLSession(URLSessionConfiguration configuration, std::shared_ptr<DispatchQueue> delegateQueue);
  URLSession(const URLSession&) = delete;
  URLSession& operator=(const URLSession&) = delete;

  const URLSessionConfiguration& configuration() const { return configuration_; }
  const std::shared_ptr<DispatchQueue>& delegateQueue() const { return delegateQueue_; }

  // The six factory operations, sent through the method table. Without a handler the task still
  // runs, and its outcome is only recorded on the task. A replaced implementation that returns no
  // task gives null.
  std::shared_ptr<URLSessionDataTask> dataTaskWithRequest(const URLRequest& request,
                                                          DataTaskCompletion completionHandler) override;
  std::shared_ptr<URLSessionDataTask> dataTaskWithURL(const URL& url, DataTaskCompletion completionHandler);
  // Sends `bodyData` as the request's body (it replaces any httpBody of the request).
  std::shared_ptr<URLSessionUploadTask> uploadTaskWithRequestFromData(const URLRequest& request, const Data& bodyData,
                                                                      DataTaskCompletion completionHandler);
  // Streams the file at `fileURL` as the body; a file that can't be read fails the task.
  std::shared_ptr<URLSessionUploadTask> uploadTaskWithRequestFromFile(const URLRequest& request, const URL& fileURL,
                                                                      DataTaskCompletion completionHandler);
  std::shared_ptr<URLSessionDownloadTask> downloadTaskWithRequest(const URLRequest& request,
                                                                  DownloadTaskCompletion completionHandler);
  std::shared_ptr<URLSessionDownloadTask> downloadTaskWithURL(const URL& url, DownloadTaskCompletion completionHandler);

 private:
  struct OriginalMethods;
  static OriginalMethods& originals();

  // The bodies of the original implementations.
  std::shared_ptr<URLSessionDataTask> makeDataTask(const URLRequest& request, DataTaskCompletion completionHandler);
  std::shared_ptr<URLSessionUploadTask> makeUploadTask(const URLRequest& request, std::optional<Data> bodyData,
                                                       std::optional<std::string> bodyFile,
                                                       DataTaskCompletion completionHandler);
  std::shared_ptr<URLSessionDownloadTask> makeDownloadTask(const URLRequest& request,
                                                           DownloadTaskCompletion completionHandler);
  URLRequest requestForURL(const URL& url) const;
  std::uint64_t nextTaskIdentifier() { return nextTaskIdentifier_.fetch_add(1) + 1; }

  const URLSessionConfiguration configuration_;
  const std::shared_ptr<DispatchQueue> delegateQueue_;
  std::atomic<std::uint64_t> nextTaskIdentifier_{0};
};

}  // namespace obx::platform
