// FaultInjectingFiles: a disk that fails on demand, for tests. While it lives it is installed as the
// process's FileFaults (one at a time), and every write of platform/files goes through it:
//   - failNextWrites(n): the next n writes fail with EIO before writing anything;
//   - failAfterBytes(k): the disk holds k more bytes; the write that crosses the limit writes what
//     fits and fails with ENOSPC, and every write after it fails at once, until makeSpace();
//   - simulateCrash(): a power cut; every file written since this object was made loses the bytes
//     written after its last sync (a file never synced keeps nothing that was written meanwhile).
// Only paths under `scope` are affected (all paths when it is empty). Thread-safe.
#pragma once

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>

#include "platform/files/file_faults.h"

namespace obx::platform {

class FaultInjectingFiles final : public FileFaults {
 public:
  explicit FaultInjectingFiles(std::filesystem::path scope = {});
  ~FaultInjectingFiles() override;
  FaultInjectingFiles(const FaultInjectingFiles&) = delete;
  FaultInjectingFiles& operator=(const FaultInjectingFiles&) = delete;

  void failNextWrites(int count, int error = EIO);
  void failAfterBytes(std::uint64_t bytes, int error = ENOSPC);
  // Lifts the limit of failAfterBytes: the disk has room again.
  void makeSpace();
  void simulateCrash();

  // Writes that failed, in full or in part, since the object was made.
  int failedWrites() const;
  // Bytes that reached the disk through writes since the object was made.
  std::uint64_t bytesWritten() const;

  Allowance willWrite(const std::filesystem::path& path, std::uint64_t offset, std::size_t size) override;
  void didSync(const std::filesystem::path& path, std::uint64_t size) override;
  void didTruncate(const std::filesystem::path& path, std::uint64_t size) override;
  void didRename(const std::filesystem::path& from, const std::filesystem::path& to) override;

 private:
  // What a power cut keeps of one file: its size at its last sync, or at the first write seen.
  struct Durable {
    std::uint64_t size = 0;
  };

  bool inScope(const std::filesystem::path& path) const;

  const std::filesystem::path scope_;
  mutable std::mutex mutex_;
  int failNext_ = 0;
  int failNextError_ = EIO;
  std::optional<std::uint64_t> room_;
  int roomError_ = ENOSPC;
  int failed_ = 0;
  std::uint64_t written_ = 0;
  std::map<std::filesystem::path, Durable> files_;
};

}  // namespace obx::platform
