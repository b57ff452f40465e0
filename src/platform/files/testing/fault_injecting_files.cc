#include "platform/files/testing/fault_injecting_files.h"

#include <unistd.h>

#include <algorithm>
#include <system_error>

namespace obx::platform {

FaultInjectingFiles::FaultInjectingFiles(std::filesystem::path scope) : scope_(std::move(scope)) {
  installFileFaults(this);
}

FaultInjectingFiles::~FaultInjectingFiles() { installFileFaults(nullptr); }

void FaultInjectingFiles::failNextWrites(int count, int error) {
  std::lock_guard lock(mutex_);
  failNext_ = count;
  failNextError_ = error;
}

void FaultInjectingFiles::failAfterBytes(std::uint64_t bytes, int error) {
  std::lock_guard lock(mutex_);
  room_ = bytes;
  roomError_ = error;
}

void FaultInjectingFiles::makeSpace() {
  std::lock_guard lock(mutex_);
  room_.reset();
}

int FaultInjectingFiles::failedWrites() const {
  std::lock_guard lock(mutex_);
  return failed_;
}

std::uint64_t FaultInjectingFiles::bytesWritten() const {
  std::lock_guard lock(mutex_);
  return written_;
}

bool FaultInjectingFiles::inScope(const std::filesystem::path& path) const {
  if (scope_.empty()) return true;
  auto [scopeEnd, pathAt] = std::mismatch(scope_.begin(), scope_.end(), path.begin(), path.end());
  return scopeEnd == scope_.end();
}

FileFaults::Allowance FaultInjectingFiles::willWrite(const std::filesystem::path& path, std::uint64_t offset,
                                                     std::size_t size) {
  if (!inScope(path)) return Allowance{size, 0};
  std::lock_guard lock(mutex_);
  // The first write seen of a file fixes what a crash keeps of it: what it held before.
  files_.try_emplace(path, Durable{offset});
  if (failNext_ > 0) {
    --failNext_;
    ++failed_;
    return Allowance{0, failNextError_};
  }
  if (room_ && *room_ < size) {
    const std::size_t fits = static_cast<std::size_t>(*room_);
    room_ = 0;
    written_ += fits;
    ++failed_;
    return Allowance{fits, roomError_};
  }
  if (room_) *room_ -= size;
  written_ += size;
  return Allowance{size, 0};
}

void FaultInjectingFiles::didSync(const std::filesystem::path& path, std::uint64_t size) {
  if (!inScope(path)) return;
  std::lock_guard lock(mutex_);
  files_[path].size = size;
}

void FaultInjectingFiles::didTruncate(const std::filesystem::path& path, std::uint64_t size) {
  if (!inScope(path)) return;
  std::lock_guard lock(mutex_);
  auto [file, inserted] = files_.try_emplace(path, Durable{size});
  // A cut is itself unsynced, but what it removed is gone for good.
  if (!inserted) file->second.size = std::min(file->second.size, size);
}

void FaultInjectingFiles::didRename(const std::filesystem::path& from, const std::filesystem::path& to) {
  std::lock_guard lock(mutex_);
  auto file = files_.find(from);
  if (file == files_.end()) return;
  files_[to] = file->second;
  files_.erase(file);
}

void FaultInjectingFiles::simulateCrash() {
  std::map<std::filesystem::path, Durable> files;
  {
    std::lock_guard lock(mutex_);
    files.swap(files_);
  }
  for (const auto& [path, durable] : files) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) continue;
    if (std::filesystem::file_size(path, error) > durable.size) ::truncate(path.c_str(), static_cast<off_t>(durable.size));
  }
}

}  // namespace obx::platform
