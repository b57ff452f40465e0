// ScriptedSessionMethods: for the life of the object, the six factory operations of NSURLSession
// answer from the test instead of the network. Each records the call and the handler it got and
// returns a suspended task that does nothing; the test ends the task by calling `finishData` or
// `finishDownload` with the values the handler is to get. The operations' previous implementations
// are put back by the destructor, so an interceptor installed over these must be gone by then.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/net/url_session.h"

namespace obx::testing {

class ScriptedSessionMethods {
 public:
  struct Call {
    std::string selector;
    platform::DataTaskCompletion dataHandler;
    platform::DownloadTaskCompletion downloadHandler;
  };

  ScriptedSessionMethods() {
    using platform::URLSession;
    replace<URLSession::DataTaskWithRequestIMP>(
        URLSession::kDataTaskWithRequest,
        [this](platform::Object&, const platform::URLRequest& request, platform::DataTaskCompletion handler) {
          return record(URLSession::kDataTaskWithRequest, std::move(handler), {},
                        platform::URLSessionDataTask::make(request, {}));
        });
    replace<URLSession::DataTaskWithURLIMP>(
        URLSession::kDataTaskWithURL,
        [this](platform::Object&, const platform::URL& url, platform::DataTaskCompletion handler) {
          return record(URLSession::kDataTaskWithURL, std::move(handler), {},
                        platform::URLSessionDataTask::make(platform::URLRequest(url), {}));
        });
    replace<URLSession::UploadTaskFromDataIMP>(
        URLSession::kUploadTaskWithRequestFromData,
        [this](platform::Object&, const platform::URLRequest& request, const platform::Data&,
               platform::DataTaskCompletion handler) {
          return record(URLSession::kUploadTaskWithRequestFromData, std::move(handler), {},
                        std::make_shared<platform::URLSessionUploadTask>(0, request, nullptr, nullptr));
        });
    replace<URLSession::UploadTaskFromFileIMP>(
        URLSession::kUploadTaskWithRequestFromFile, [this](platform::Object&, const platform::URLRequest& request,
                                                           const platform::URL&, platform::DataTaskCompletion handler) {
          return record(URLSession::kUploadTaskWithRequestFromFile, std::move(handler), {},
                        std::make_shared<platform::URLSessionUploadTask>(0, request, nullptr, nullptr));
        });
    replace<URLSession::DownloadTaskWithRequestIMP>(
        URLSession::kDownloadTaskWithRequest,
        [this](platform::Object&, const platform::URLRequest& request, platform::DownloadTaskCompletion handler) {
          return record(URLSession::kDownloadTaskWithRequest, {}, std::move(handler),
                        platform::URLSessionDownloadTask::make(request, {}));
        });
    replace<URLSession::DownloadTaskWithURLIMP>(
        URLSession::kDownloadTaskWithURL,
        [this](platform::Object&, const platform::URL& url, platform::DownloadTaskCompletion handler) {
          return record(URLSession::kDownloadTaskWithURL, {}, std::move(handler),
                        platform::URLSessionDownloadTask::make(platform::URLRequest(url), {}));
        });
  }

  ~ScriptedSessionMethods() {
    for (auto& [method, previous] : replaced_) platform::methodSetImplementation(method, previous);
  }

  ScriptedSessionMethods(const ScriptedSessionMethods&) = delete;
  ScriptedSessionMethods& operator=(const ScriptedSessionMethods&) = delete;

  const std::vector<Call>& calls() const { return calls_; }

  // Calls the handler of call `index` as the session would when the task ends.
  void finishData(std::size_t index, std::optional<platform::Data> data,
                  std::shared_ptr<const platform::URLResponse> response, std::optional<platform::URLError> error) {
    calls_.at(index).dataHandler(std::move(data), std::move(response), std::move(error));
  }
  void finishDownload(std::size_t index, std::optional<std::string> location,
                      std::shared_ptr<const platform::URLResponse> response, std::optional<platform::URLError> error) {
    calls_.at(index).downloadHandler(std::move(location), std::move(response), std::move(error));
  }

 private:
  template <typename Signature, typename Body>
  void replace(const char* selector, Body body) {
    platform::Method* method = platform::URLSession::runtimeClass()->instanceMethod(selector);
    platform::IMP previous =
        platform::methodSetImplementation(method, platform::Implementation::make<Signature>(std::move(body)));
    replaced_.emplace_back(method, previous);
  }

  template <typename Task>
  std::shared_ptr<Task> record(const char* selector, platform::DataTaskCompletion data,
                               platform::DownloadTaskCompletion download, std::shared_ptr<Task> task) {
    calls_.push_back(Call{selector, std::move(data), std::move(download)});
    return task;
  }

  std::vector<std::pair<platform::Method*, platform::IMP>> replaced_;
  std::vector<Call> calls_;
};

}  // namespace obx::testing
