// RawCrashRecord: what a crash handler writes about one crash, with write(2) only, to a file opened
// in advance, and what the next start reads back. A record is a run of items, each a 4-byte tag, a
// 4-byte length and that many bytes, in the machine's byte order (the record is read on the machine
// that wrote it): "begin" (the fixed fields), the frames, the exception's type and text, the
// snapshot slots, the process's memory map in chunks, and "end". A record without its "end" was
// cut by the death it describes, or by the disk: it is torn, and the reader drops it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace obx::platform {

struct RawCrashRecord {
  enum class Kind : std::uint32_t { signal = 1, exception = 2 };

  // Tags of the items, as written.
  enum Tag : std::uint32_t { kBegin = 0x4F425843, kFrames = 2, kExceptionType = 3, kExceptionWhat = 4,
                             kSnapshot = 5, kMaps = 6, kEnd = 0x454E4421 };

  // The "begin" item's bytes.
  struct Begin {
    std::uint32_t version = 1;
    std::uint32_t kind = 0;
    std::int32_t signal = 0;
    std::int32_t code = 0;  // si_code
    std::uint64_t address = 0;  // si_addr: the faulting address
    std::int64_t thread = 0;
    std::int64_t seconds = 0;  // CLOCK_REALTIME at the crash
    std::int64_t nanoseconds = 0;
  };

  Kind kind = Kind::signal;
  int signal = 0;
  int code = 0;
  std::uint64_t address = 0;
  std::int64_t thread = 0;
  double time = 0;  // seconds since 1970
  // The faulting instruction first, then return addresses, innermost first.
  std::vector<std::uint64_t> frames;
  std::string exceptionType;  // as the ABI names it (mangled)
  std::string exceptionWhat;
  std::map<std::uint32_t, std::string> snapshots;  // by slot
  std::string maps;  // the text of /proc/self/maps at the crash
};

struct RawCrashFile {
  std::vector<RawCrashRecord> records;  // whole records, in the order written
  int tornRecords = 0;
};

// Reads every record of a crash file's bytes; never throws.
RawCrashFile readRawCrashRecords(std::string_view bytes);

}  // namespace obx::platform
