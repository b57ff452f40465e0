// Internal to platform/net: one libcurl transfer and the thread that runs them all.
//
// A Transfer owns its easy handle, its request body and what it writes to (memory or a temporary
// file). The TransferEngine runs every started transfer on one multi handle on its own thread and
// calls Transfer::finish there; finish posts the task's completion to the session's delegate queue.
#pragma once

#include <curl/curl.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/dispatch/dispatch_queue.h"
#include "platform/net/url_session_configuration.h"
#include "platform/net/url_session_task.h"

namespace obx::platform::detail {

class Transfer {
 public:
  enum class Sink { memory, file };

  Transfer(URLRequest request, const URLSessionConfiguration& configuration, std::shared_ptr<DispatchQueue> queue);
  ~Transfer();
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  // Replaces the request's body.
  void setBodyData(Data data) { body_ = std::move(data); }
  void setBodyFile(std::string path) { bodyFile_ = std::move(path); }
  void setDataCompletion(DataTaskCompletion completion) {
    dataCompletion_ = std::move(completion);
    sink_ = Sink::memory;
  }
  void setDownloadCompletion(DownloadTaskCompletion completion) {
    downloadCompletion_ = std::move(completion);
    sink_ = Sink::file;
  }

  // Keeps `task` alive from resume until its completion has run.
  void retainTask(std::shared_ptr<URLSessionTask> task);

  // Engine thread: builds the easy handle. An error means the transfer can't start; finish(error).
  std::optional<URLError> prepare();
  CURL* handle() const { return easy_; }
  // Engine thread: ends the transfer with the libcurl result, or with `error` when given. Runs once.
  void finish(CURLcode code, std::optional<URLError> error = std::nullopt);
  bool isFinished() const { return finished_; }

 private:
  static std::size_t onWrite(char* data, std::size_t size, std::size_t count, void* self);
  static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);
  static std::size_t onReadFile(char* buffer, std::size_t size, std::size_t count, void* self);
  static int onSeekFile(void* self, curl_off_t offset, int origin);

  std::shared_ptr<const URLResponse> makeResponse() const;
  void removeDownloadFile();

  const URLRequest request_;
  const URLSessionConfiguration configuration_;
  const std::shared_ptr<DispatchQueue> queue_;

  std::optional<Data> body_;
  std::optional<std::string> bodyFile_;
  Sink sink_ = Sink::memory;
  DataTaskCompletion dataCompletion_;
  DownloadTaskCompletion downloadCompletion_;

  CURL* easy_ = nullptr;
  curl_slist* headerList_ = nullptr;
  std::FILE* bodyStream_ = nullptr;
  std::FILE* downloadStream_ = nullptr;
  std::string downloadPath_;
  Data received_;
  HTTPHeaders responseHeaders_;
  bool writeFailed_ = false;
  bool finished_ = false;

  std::mutex taskMutex_;
  std::shared_ptr<URLSessionTask> task_;
};

class TransferEngine {
 public:
  // The process-wide engine; its thread starts on first use and lives as long as the process.
  static TransferEngine& shared();

  void start(std::shared_ptr<Transfer> transfer);
  // Ends `transfer` with the cancelled error unless it already finished.
  void cancel(std::shared_ptr<Transfer> transfer);

 private:
  TransferEngine();
  void run();
  void applyCommands();
  void collectFinished();

  CURLM* multi_ = nullptr;
  std::mutex mutex_;
  std::vector<std::shared_ptr<Transfer>> toStart_;
  std::vector<std::shared_ptr<Transfer>> toCancel_;
  std::vector<std::shared_ptr<Transfer>> running_;
};

}  // namespace obx::platform::detail
