#include "platform/net/url_session.h"

#include <mutex>

#include "platform/net/curl_transfer.h"

namespace obx::platform {

std::shared_ptr<URLSession> URLSession::make(URLSessionConfiguration configuration,
                                             std::shared_ptr<Scheduler> scheduler,
                                             std::shared_ptr<DispatchQueue> delegateQueue) {
  if (!delegateQueue) {
    delegateQueue = DispatchQueue::makeSerial(std::move(scheduler), "obx.platform.URLSession.delegate");
  }
  return std::make_shared<URLSession>(std::move(configuration), std::move(delegateQueue));
}

std::shared_ptr<URLSession> URLSession::shared() {
  static std::once_flag once;
  static std::shared_ptr<URLSession> session;
  std::call_once(once,
                 [] { session = make(URLSessionConfiguration::defaultSessionConfiguration(), defaultScheduler()); });
  return session;
}

URLSession::URLSession(URLSessionConfiguration configuration, std::shared_ptr<DispatchQueue> delegateQueue)
    : configuration_(std::move(configuration)), delegateQueue_(std::move(delegateQueue)) {
  setDeclaredClass(runtimeClass());
}

struct URLSession::OriginalMethods {
  IMP dataTaskWithRequest;
  IMP dataTaskWithURL;
  IMP uploadTaskFromData;
  IMP uploadTaskFromFile;
  IMP downloadTaskWithRequest;
  IMP downloadTaskWithURL;
};

Class* URLSession::runtimeClass() {
  static Class* const cls = [] {
    Class* registered = registerClass("NSURLSession", Object::runtimeClass(), typeid(URLSession));
    auto& original = originals();
    registered->addMethod(kDataTaskWithRequest, original.dataTaskWithRequest);
    registered->addMethod(kDataTaskWithURL, original.dataTaskWithURL);
    registered->addMethod(kUploadTaskWithRequestFromData, original.uploadTaskFromData);
    registered->addMethod(kUploadTaskWithRequestFromFile, original.uploadTaskFromFile);
    registered->addMethod(kDownloadTaskWithRequest, original.downloadTaskWithRequest);
    registered->addMethod(kDownloadTaskWithURL, original.downloadTaskWithURL);
    return registered;
  }();
  return cls;
}

URLSession::OriginalMethods& URLSession::originals() {
  static OriginalMethods* const methods = new OriginalMethods{
      Implementation::make<URLSession::DataTaskWithRequestIMP>(
          [](Object& self, const URLRequest& request, DataTaskCompletion completion) {
            return static_cast<URLSession&>(self).makeDataTask(request, std::move(completion));
          }),
      Implementation::make<URLSession::DataTaskWithURLIMP>(
          [](Object& self, const URL& url, DataTaskCompletion completion) {
            auto& session = static_cast<URLSession&>(self);
            return session.makeDataTask(session.requestForURL(url), std::move(completion));
          }),
      Implementation::make<URLSession::UploadTaskFromDataIMP>(
          [](Object& self, const URLRequest& request, const Data& body, DataTaskCompletion completion) {
            return static_cast<URLSession&>(self).makeUploadTask(request, body, std::nullopt, std::move(completion));
          }),
      Implementation::make<URLSession::UploadTaskFromFileIMP>([](Object& self, const URLRequest& request,
                                                                 const URL& file, DataTaskCompletion completion) {
        return static_cast<URLSession&>(self).makeUploadTask(request, std::nullopt, file.path(), std::move(completion));
      }),
      Implementation::make<URLSession::DownloadTaskWithRequestIMP>(
          [](Object& self, const URLRequest& request, DownloadTaskCompletion completion) {
            return static_cast<URLSession&>(self).makeDownloadTask(request, std::move(completion));
          }),
      Implementation::make<URLSession::DownloadTaskWithURLIMP>(
          [](Object& self, const URL& url, DownloadTaskCompletion completion) {
            auto& session = static_cast<URLSession&>(self);
            return session.makeDownloadTask(session.requestForURL(url), std::move(completion));
          }),
  };
  return *methods;
}

IMP URLSession::originalImplementation(const Selector& selector) {
  const auto& original = originals();
  if (selector == kDataTaskWithRequest) return original.dataTaskWithRequest;
  if (selector == kDataTaskWithURL) return original.dataTaskWithURL;
  if (selector == kUploadTaskWithRequestFromData) return original.uploadTaskFromData;
  if (selector == kUploadTaskWithRequestFromFile) return original.uploadTaskFromFile;
  if (selector == kDownloadTaskWithRequest) return original.downloadTaskWithRequest;
  if (selector == kDownloadTaskWithURL) return original.downloadTaskWithURL;
  return nullptr;
}

std::shared_ptr<URLSessionDataTask> URLSession::dataTaskWithRequest(const URLRequest& request,
                                                                    DataTaskCompletion completionHandler) {
  return sendMessage<std::shared_ptr<URLSessionDataTask>(const URLRequest&, DataTaskCompletion)>(
      *this, kDataTaskWithRequest, request, std::move(completionHandler));
}

std::shared_ptr<URLSessionDataTask> URLSession::dataTaskWithURL(const URL& url, DataTaskCompletion completionHandler) {
  return sendMessage<std::shared_ptr<URLSessionDataTask>(const URL&, DataTaskCompletion)>(*this, kDataTaskWithURL, url,
                                                                                          std::move(completionHandler));
}

std::shared_ptr<URLSessionUploadTask> URLSession::uploadTaskWithRequestFromData(const URLRequest& request,
                                                                                const Data& bodyData,
                                                                                DataTaskCompletion completionHandler) {
  return sendMessage<std::shared_ptr<URLSessionUploadTask>(const URLRequest&, const Data&, DataTaskCompletion)>(
      *this, kUploadTaskWithRequestFromData, request, bodyData, std::move(completionHandler));
}

std::shared_ptr<URLSessionUploadTask> URLSession::uploadTaskWithRequestFromFile(const URLRequest& request,
                                                                                const URL& fileURL,
                                                                                DataTaskCompletion completionHandler) {
  return sendMessage<std::shared_ptr<URLSessionUploadTask>(const URLRequest&, const URL&, DataTaskCompletion)>(
      *this, kUploadTaskWithRequestFromFile, request, fileURL, std::move(completionHandler));
}

std::shared_ptr<URLSessionDownloadTask> URLSession::downloadTaskWithRequest(const URLRequest& request,
                                                                            DownloadTaskCompletion completionHandler) {
  return sendMessage<std::shared_ptr<URLSessionDownloadTask>(const URLRequest&, DownloadTaskCompletion)>(
      *this, kDownloadTaskWithRequest, request, std::move(completionHandler));
}

std::shared_ptr<URLSessionDownloadTask> URLSession::downloadTaskWithURL(const URL& url,
                                                                        DownloadTaskCompletion completionHandler) {
  return sendMessage<std::shared_ptr<URLSessionDownloadTask>(const URL&, DownloadTaskCompletion)>(
      *this, kDownloadTaskWithURL, url, std::move(completionHandler));
}

URLRequest URLSession::requestForURL(const URL& url) const {
  URLRequest request(url);
  request.cachePolicy = configuration_.requestCachePolicy;
  request.timeoutInterval = configuration_.timeoutIntervalForRequest;
  return request;
}

std::shared_ptr<URLSessionDataTask> URLSession::makeDataTask(const URLRequest& request,
                                                             DataTaskCompletion completionHandler) {
  auto task = std::make_shared<URLSessionDataTask>(nextTaskIdentifier(), request, nullptr, nullptr);
  task->transfer_ = std::make_shared<detail::Transfer>(request, configuration_, delegateQueue_);
  task->transfer_->setDataCompletion(std::move(completionHandler));
  return task;
}

std::shared_ptr<URLSessionUploadTask> URLSession::makeUploadTask(const URLRequest& request,
                                                                 std::optional<Data> bodyData,
                                                                 std::optional<std::string> bodyFile,
                                                                 DataTaskCompletion completionHandler) {
  auto task = std::make_shared<URLSessionUploadTask>(nextTaskIdentifier(), request, nullptr, nullptr);
  task->transfer_ = std::make_shared<detail::Transfer>(request, configuration_, delegateQueue_);
  if (bodyData) task->transfer_->setBodyData(std::move(*bodyData));
  if (bodyFile) task->transfer_->setBodyFile(std::move(*bodyFile));
  task->transfer_->setDataCompletion(std::move(completionHandler));
  return task;
}

std::shared_ptr<URLSessionDownloadTask> URLSession::makeDownloadTask(const URLRequest& request,
                                                                     DownloadTaskCompletion completionHandler) {
  auto task = std::make_shared<URLSessionDownloadTask>(nextTaskIdentifier(), request, nullptr, nullptr);
  task->transfer_ = std::make_shared<detail::Transfer>(request, configuration_, delegateQueue_);
  task->transfer_->setDownloadCompletion(std::move(completionHandler));
  return task;
}

}  // namespace obx::platform
