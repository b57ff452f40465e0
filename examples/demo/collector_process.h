// CollectorProcess: obx-collector run as a child process on 127.0.0.1 with a free port. The
// collector prints "listening on <base URL>" as its first line; its later lines (one per request)
// are kept for the summary. Stopped with SIGTERM when the object goes.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>
#include <mutex>

namespace demo {

class CollectorProcess {
 public:
  // Starts `executable` storing into `dataDirectory` for `account`, serving the configuration
  // documents of `configDirectory`. On failure `baseURL()` is empty and `error()` says why.
  CollectorProcess(const std::filesystem::path& executable, const std::filesystem::path& dataDirectory,
                   const std::filesystem::path& configDirectory, const std::string& account);
  ~CollectorProcess();
  CollectorProcess(const CollectorProcess&) = delete;
  CollectorProcess& operator=(const CollectorProcess&) = delete;

  const std::string& baseURL() const { return baseURL_; }
  const std::string& error() const { return error_; }
  // The lines the collector has printed after its first.
  std::vector<std::string> lines() const;

 private:

  pid_t pid_ = -1;
  std::string baseURL_;
  std::string error_;
  std::thread reader_;
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace demo
