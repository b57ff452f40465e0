// FileFaults: the seam through which a test makes the disk misbehave, the way a full or failing
// disk does. Every write of platform/files (file handles, new files, atomic replacements, appends)
// asks the installed FileFaults how many of its bytes may reach the disk and with which error it
// fails after them, and reports syncs, truncations and renames, so that the test can also tell what
// a power cut would have kept. Production installs nothing: a write then costs one atomic load.
//
// installFileFaults may be called from any thread; the object must be thread-safe and outlive its
// installation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string_view>

namespace obx::platform {

class FileFaults {
 public:
  // Write the first `bytes` of what was asked, then fail with `error` (an errno value; 0 for none).
  struct Allowance {
    std::size_t bytes = 0;
    int error = 0;
  };

  virtual ~FileFaults() = default;
  // `size` bytes are about to be written to `path`, at `offset`.
  virtual Allowance willWrite(const std::filesystem::path& path, std::uint64_t offset, std::size_t size) = 0;
  // `path` now holds `size` bytes, all of them on stable storage.
  virtual void didSync(const std::filesystem::path& path, std::uint64_t size) = 0;
  // `path` was cut (or created, or emptied) to `size` bytes.
  virtual void didTruncate(const std::filesystem::path& path, std::uint64_t size) = 0;
  virtual void didRename(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
};

// Installs `faults` for every write of the process, or removes them with nullptr.
void installFileFaults(FileFaults* faults);

namespace files_internal {

// Writes all of `bytes` to `fd` (a file at `path`) through the installed faults. Returns 0, or the
// errno of the failure; bytes before a failure may have reached the file.
int writeAll(int fd, const std::filesystem::path& path, std::string_view bytes);
// Tell the installed faults, if any.
void noteSync(int fd, const std::filesystem::path& path);
void noteTruncate(const std::filesystem::path& path, std::uint64_t size);
void noteRename(const std::filesystem::path& from, const std::filesystem::path& to);

}  // namespace files_internal
}  // namespace obx::platform
