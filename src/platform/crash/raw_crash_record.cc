#include "platform/crash/raw_crash_record.h"

#include <cstring>
#include <optional>

namespace obx::platform {
namespace {

struct Item {
  std::uint32_t tag = 0;
  std::string_view bytes;
};

// The next item at `offset`, or nothing when the bytes end inside it.
std::optional<Item> itemAt(std::string_view data, std::size_t& offset) {
  std::uint32_t header[2];
  if (data.size() - offset < sizeof(header)) return std::nullopt;
  std::memcpy(header, data.data() + offset, sizeof(header));
  if (data.size() - offset - sizeof(header) < header[1]) return std::nullopt;
  Item item{header[0], data.substr(offset + sizeof(header), header[1])};
  offset += sizeof(header) + header[1];
  return item;
}

void addToRecord(RawCrashRecord& record, const Item& item) {
  switch (item.tag) {
    case RawCrashRecord::kFrames:
      for (std::size_t at = 0; at + sizeof(std::uint64_t) <= item.bytes.size(); at += sizeof(std::uint64_t)) {
        std::uint64_t frame;
        std::memcpy(&frame, item.bytes.data() + at, sizeof(frame));
        record.frames.push_back(frame);
      }
      break;
    case RawCrashRecord::kExceptionType: record.exceptionType = item.bytes; break;
    case RawCrashRecord::kExceptionWhat: record.exceptionWhat = item.bytes; break;
    case RawCrashRecord::kSnapshot:
      if (item.bytes.size() >= sizeof(std::uint32_t)) {
        std::uint32_t slot;
        std::memcpy(&slot, item.bytes.data(), sizeof(slot));
        record.snapshots[slot] = item.bytes.substr(sizeof(slot));
      }
      break;
    case RawCrashRecord::kMaps: record.maps.append(item.bytes); break;
    default: break;  // an item of a later version
  }
}

}  // namespace

RawCrashFile readRawCrashRecords(std::string_view data) {
  RawCrashFile file;
  std::optional<RawCrashRecord> open;
  std::size_t offset = 0;
  while (offset < data.size()) {
    auto item = itemAt(data, offset);
    if (!item) break;
    if (item->tag == RawCrashRecord::kBegin) {
      if (open) ++file.tornRecords;
      open.reset();
      RawCrashRecord::Begin begin;
      if (item->bytes.size() != sizeof(begin)) continue;
      std::memcpy(&begin, item->bytes.data(), sizeof(begin));
      RawCrashRecord record;
      record.kind = static_cast<RawCrashRecord::Kind>(begin.kind);
      record.signal = begin.signal;
      record.code = begin.code;
      record.address = begin.address;
      record.thread = begin.thread;
      record.time = static_cast<double>(begin.seconds) + static_cast<double>(begin.nanoseconds) / 1e9;
      open = std::move(record);
    } else if (!open) {
      continue;
    } else if (item->tag == RawCrashRecord::kEnd) {
      file.records.push_back(std::move(*open));
      open.reset();
    } else {
      addToRecord(*open, *item);
    }
  }
  if (open || offset < data.size()) ++file.tornRecords;
  return file;
}

}  // namespace obx::platform
