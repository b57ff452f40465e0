#include "platform/net/curl_transfer.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <thread>

#include "platform/crash/alternate_signal_stack.h"

namespace obx::platform::detail {
namespace {

URLError errorForCode(CURLcode code) {
  switch (code) {
    case CURLE_OPERATION_TIMEDOUT: return URLError::make(URLError::kTimedOut);
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY: return URLError::make(URLError::kCannotFindHost);
    case CURLE_COULDNT_CONNECT: return URLError::make(URLError::kCannotConnectToHost);
    case CURLE_URL_MALFORMAT: return URLError::make(URLError::kBadURL);
    case CURLE_UNSUPPORTED_PROTOCOL: return URLError::make(URLError::kUnsupportedURL);
    case CURLE_TOO_MANY_REDIRECTS: return URLError::make(URLError::kHTTPTooManyRedirects);
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR: return URLError::make(URLError::kSecureConnectionFailed);
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE: return URLError::make(URLError::kNetworkConnectionLost);
    case CURLE_WEIRD_SERVER_REPLY: return URLError::make(URLError::kBadServerResponse);
    case CURLE_FILE_COULDNT_READ_FILE: return URLError::make(URLError::kFileDoesNotExist);
    case CURLE_READ_ERROR: return URLError::make(URLError::kCannotOpenFile);
    case CURLE_WRITE_ERROR: return URLError::make(URLError::kCannotWriteToFile);
    case CURLE_ABORTED_BY_CALLBACK: return URLError::make(URLError::kCancelled);
    default: return URLError::make(URLError::kUnknown, curl_easy_strerror(code));
  }
}

std::string trim(const std::string& text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return {};
  const auto last = text.find_last_not_of(" \t\r\n");
  return text.substr(first, last - first + 1);
}

// Removes a finished download's file when the completion block that owns it is done with it, or
// when that block is dropped because its queue is gone.
struct FileRemover {
  explicit FileRemover(std::string path) : path(std::move(path)) {}
  ~FileRemover() {
    std::error_code ignored;
    if (!path.empty()) std::filesystem::remove(path, ignored);
  }
  std::string path;
};

}  // namespace

Transfer::Transfer(URLRequest request, const URLSessionConfiguration& configuration,
                   std::shared_ptr<DispatchQueue> queue)
    : request_(std::move(request)), configuration_(configuration), queue_(std::move(queue)) {
  body_ = request_.httpBody;
}

Transfer::~Transfer() {
  if (easy_ != nullptr) curl_easy_cleanup(easy_);
  if (headerList_ != nullptr) curl_slist_free_all(headerList_);
  if (bodyStream_ != nullptr) std::fclose(bodyStream_);
  if (downloadStream_ != nullptr) std::fclose(downloadStream_);
  removeDownloadFile();
}

void Transfer::retainTask(std::shared_ptr<URLSessionTask> task) {
  std::lock_guard lock(taskMutex_);
  task_ = std::move(task);
}

std::optional<URLError> Transfer::prepare() {
  easy_ = curl_easy_init();
  if (easy_ == nullptr) return URLError::make(URLError::kUnknown);

  curl_easy_setopt(easy_, CURLOPT_URL, request_.url.absoluteString().c_str());
  curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy_, CURLOPT_ACCEPT_ENCODING, "");
  curl_easy_setopt(easy_, CURLOPT_FOLLOWLOCATION, configuration_.maximumRedirects > 0 ? 1L : 0L);
  curl_easy_setopt(easy_, CURLOPT_MAXREDIRS, static_cast<long>(configuration_.maximumRedirects));

  double timeout = configuration_.timeoutIntervalForResource;
  if (request_.timeoutInterval > 0) timeout = std::min(timeout, request_.timeoutInterval);
  if (timeout > 0) {
    const long milliseconds = std::max(1L, static_cast<long>(timeout * 1000.0));
    curl_easy_setopt(easy_, CURLOPT_TIMEOUT_MS, milliseconds);
    curl_easy_setopt(easy_, CURLOPT_CONNECTTIMEOUT_MS, milliseconds);
  }

  HTTPHeaders headers = configuration_.httpAdditionalHeaders;
  for (const auto& [name, value] : request_.allHTTPHeaderFields) headers[name] = value;
  for (const auto& [name, value] : headers) {
    // "Name;" is libcurl's way of sending a field with an empty value.
    const std::string line = value.empty() ? name + ";" : name + ": " + value;
    headerList_ = curl_slist_append(headerList_, line.c_str());
  }
  // Bodies go out at once, without waiting for "100 Continue".
  headerList_ = curl_slist_append(headerList_, "Expect:");
  curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, headerList_);

  const std::string& method = request_.httpMethod;
  if (bodyFile_) {
    bodyStream_ = std::fopen(bodyFile_->c_str(), "rb");
    if (bodyStream_ == nullptr) return URLError::make(URLError::kFileDoesNotExist);
    std::error_code sizeError;
    const auto size = std::filesystem::file_size(*bodyFile_, sizeError);
    if (sizeError) return URLError::make(URLError::kCannotOpenFile);
    curl_easy_setopt(easy_, CURLOPT_POST, 1L);
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(size));
    curl_easy_setopt(easy_, CURLOPT_READFUNCTION, &Transfer::onReadFile);
    curl_easy_setopt(easy_, CURLOPT_READDATA, this);
    curl_easy_setopt(easy_, CURLOPT_SEEKFUNCTION, &Transfer::onSeekFile);
    curl_easy_setopt(easy_, CURLOPT_SEEKDATA, this);
    if (method != "POST") curl_easy_setopt(easy_, CURLOPT_CUSTOMREQUEST, method.c_str());
  } else if (body_) {
    static const char kEmpty[] = "";
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body_->size()));
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, body_->empty() ? kEmpty : reinterpret_cast<const char*>(body_->data()));
    if (method != "POST") curl_easy_setopt(easy_, CURLOPT_CUSTOMREQUEST, method.c_str());
  } else if (method == "HEAD") {
    curl_easy_setopt(easy_, CURLOPT_NOBODY, 1L);
  } else if (method != "GET") {
    curl_easy_setopt(easy_, CURLOPT_CUSTOMREQUEST, method.c_str());
  }

  if (sink_ == Sink::file) {
    std::error_code ignored;
    std::string pattern = (std::filesystem::temp_directory_path(ignored) / "obx-download-XXXXXX").string();
    const int descriptor = ::mkstemp(pattern.data());
    if (descriptor < 0) return URLError::make(URLError::kCannotCreateFile);
    downloadStream_ = ::fdopen(descriptor, "wb");
    downloadPath_ = pattern;
    if (downloadStream_ == nullptr) {
      ::close(descriptor);
      return URLError::make(URLError::kCannotCreateFile);
    }
  }
  curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &Transfer::onWrite);
  curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);
  curl_easy_setopt(easy_, CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
  curl_easy_setopt(easy_, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(easy_, CURLOPT_PRIVATE, this);
  return std::nullopt;
}

std::size_t Transfer::onWrite(char* data, std::size_t size, std::size_t count, void* self) {
  auto* transfer = static_cast<Transfer*>(self);
  const std::size_t length = size * count;
  if (transfer->sink_ == Sink::memory) {
    transfer->received_.insert(transfer->received_.end(), data, data + length);
    return length;
  }
  if (std::fwrite(data, 1, length, transfer->downloadStream_) != length) {
    transfer->writeFailed_ = true;
    return 0;
  }
  return length;
}

std::size_t Transfer::onHeader(char* data, std::size_t size, std::size_t count, void* self) {
  auto* transfer = static_cast<Transfer*>(self);
  const std::size_t length = size * count;
  const std::string line(data, length);
  // Each status line (a redirect, an interim 100) starts a new set of fields.
  if (line.rfind("HTTP/", 0) == 0) {
    transfer->responseHeaders_.clear();
    return length;
  }
  const auto colon = line.find(':');
  if (colon == std::string::npos) return length;
  const std::string name = trim(line.substr(0, colon));
  const std::string value = trim(line.substr(colon + 1));
  if (name.empty()) return length;
  auto [it, inserted] = transfer->responseHeaders_.emplace(name, value);
  if (!inserted) it->second += ", " + value;
  return length;
}

std::size_t Transfer::onReadFile(char* buffer, std::size_t size, std::size_t count, void* self) {
  auto* transfer = static_cast<Transfer*>(self);
  const std::size_t read = std::fread(buffer, 1, size * count, transfer->bodyStream_);
  if (read == 0 && std::ferror(transfer->bodyStream_)) return CURL_READFUNC_ABORT;
  return read;
}

int Transfer::onSeekFile(void* self, curl_off_t offset, int origin) {
  auto* transfer = static_cast<Transfer*>(self);
  return ::fseeko(transfer->bodyStream_, static_cast<off_t>(offset), origin) == 0 ? CURL_SEEKFUNC_OK
                                                                                  : CURL_SEEKFUNC_CANTSEEK;
}

std::shared_ptr<const URLResponse> Transfer::makeResponse() const {
  URL url = request_.url;
  char* effective = nullptr;
  if (curl_easy_getinfo(easy_, CURLINFO_EFFECTIVE_URL, &effective) == CURLE_OK && effective != nullptr) {
    if (auto parsed = URL::fromString(effective)) url = *parsed;
  }
  curl_off_t length = -1;
  curl_easy_getinfo(easy_, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  std::optional<std::int64_t> expected;
  if (length >= 0) expected = static_cast<std::int64_t>(length);
  if (url.scheme() == "http" || url.scheme() == "https") {
    long status = 0;
    curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
    return std::make_shared<HTTPURLResponse>(std::move(url), static_cast<int>(status), responseHeaders_, expected);
  }
  return std::make_shared<URLResponse>(std::move(url), expected);
}

void Transfer::removeDownloadFile() {
  if (downloadPath_.empty()) return;
  std::error_code ignored;
  std::filesystem::remove(downloadPath_, ignored);
  downloadPath_.clear();
}

void Transfer::finish(CURLcode code, std::optional<URLError> error) {
  if (finished_) return;
  finished_ = true;
  if (!error && code != CURLE_OK) error = errorForCode(writeFailed_ ? CURLE_WRITE_ERROR : code);
  if (bodyStream_ != nullptr) {
    std::fclose(bodyStream_);
    bodyStream_ = nullptr;
  }
  if (downloadStream_ != nullptr) {
    if (std::fclose(downloadStream_) != 0 && !error) error = URLError::make(URLError::kCannotWriteToFile);
    downloadStream_ = nullptr;
  }

  std::shared_ptr<const URLResponse> response;
  std::optional<Data> data;
  std::shared_ptr<FileRemover> location;
  if (error) {
    removeDownloadFile();
  } else {
    response = makeResponse();
    if (sink_ == Sink::memory) {
      data = std::move(received_);
    } else {
      location = std::make_shared<FileRemover>(downloadPath_);
      downloadPath_.clear();
    }
  }

  std::shared_ptr<URLSessionTask> task;
  {
    std::lock_guard lock(taskMutex_);
    task = std::move(task_);
  }
  queue_->async([task, response, error, data = std::move(data), location, dataCompletion = dataCompletion_,
                 downloadCompletion = downloadCompletion_, sink = sink_]() mutable {
    if (task) task->markCompleted(response, error);
    if (sink == Sink::memory) {
      if (dataCompletion) dataCompletion(std::move(data), response, error);
    } else if (downloadCompletion) {
      std::optional<std::string> path;
      if (location) path = location->path;
      downloadCompletion(path, response, error);
    }
  });
}

TransferEngine& TransferEngine::shared() {
  // Never destroyed: its thread serves transfers until the process ends.
  static TransferEngine* engine = new TransferEngine();
  return *engine;
}

TransferEngine::TransferEngine() {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  multi_ = curl_multi_init();
  std::thread([this] {
    // A crash on this thread, a stack overflow included, still reaches the crash handlers.
    AlternateSignalStack::ensureForCurrentThread();
    run();
  }).detach();
}

void TransferEngine::start(std::shared_ptr<Transfer> transfer) {
  {
    std::lock_guard lock(mutex_);
    toStart_.push_back(std::move(transfer));
  }
  curl_multi_wakeup(multi_);
}

void TransferEngine::cancel(std::shared_ptr<Transfer> transfer) {
  {
    std::lock_guard lock(mutex_);
    toCancel_.push_back(std::move(transfer));
  }
  curl_multi_wakeup(multi_);
}

void TransferEngine::applyCommands() {
  std::vector<std::shared_ptr<Transfer>> starting;
  std::vector<std::shared_ptr<Transfer>> cancelling;
  {
    std::lock_guard lock(mutex_);
    starting.swap(toStart_);
    cancelling.swap(toCancel_);
  }
  for (auto& transfer : starting) {
    if (transfer->isFinished()) continue;
    if (auto error = transfer->prepare()) {
      transfer->finish(CURLE_OK, error);
      continue;
    }
    if (curl_multi_add_handle(multi_, transfer->handle()) != CURLM_OK) {
      transfer->finish(CURLE_OK, URLError::make(URLError::kUnknown));
      continue;
    }
    running_.push_back(transfer);
  }
  for (auto& transfer : cancelling) {
    auto it = std::find(running_.begin(), running_.end(), transfer);
    if (it != running_.end()) {
      curl_multi_remove_handle(multi_, transfer->handle());
      running_.erase(it);
    }
    transfer->finish(CURLE_ABORTED_BY_CALLBACK, URLError::make(URLError::kCancelled));
  }
}

void TransferEngine::collectFinished() {
  int queued = 0;
  while (CURLMsg* message = curl_multi_info_read(multi_, &queued)) {
    if (message->msg != CURLMSG_DONE) continue;
    CURL* handle = message->easy_handle;
    const CURLcode result = message->data.result;
    auto it = std::find_if(running_.begin(), running_.end(),
                           [handle](const std::shared_ptr<Transfer>& t) { return t->handle() == handle; });
    curl_multi_remove_handle(multi_, handle);
    if (it == running_.end()) continue;
    auto transfer = *it;
    running_.erase(it);
    transfer->finish(result);
  }
}

void TransferEngine::run() {
  for (;;) {
    applyCommands();
    int stillRunning = 0;
    curl_multi_perform(multi_, &stillRunning);
    collectFinished();
    curl_multi_poll(multi_, nullptr, 0, 1000, nullptr);
  }
}

}  // namespace obx::platform::detail
