// CrashSnapshot: what each part of the SDK would still write if the process died now, kept current by
// that part's own queue in storage that a crash handler copies without a lock (the platform's crash
// snapshot slots). The crash part keeps the batch a crash goes into; the analytics part keeps its
// batch and the events that close its screen; the replay part keeps its batch while its screen is
// owed a placeholder (an "imagePlaceholder" end event that names the reason and the sizes). The next
// start decodes them from the crash's record and writes the crash, those events and the placeholder
// into the crashed batches.
//
// publish may be called from any thread; each part is published from one queue.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "lifecycle/batch_context.h"
#include "session/placeholder_reason.h"
#include "store/events/event_type.h"
#include "store/events/json_coding.h"

namespace obx {

class CrashSnapshot {
 public:
  // One slot each.
  enum class Part : std::size_t { crash = 0, analytics = 1, replay = 2 };

  struct EndEvent {
    EventType type;
    Json data;
  };

  struct Decoded {
    BatchContext batch;
    std::vector<EndEvent> events;
  };

  // The placeholder a crashed screen is owed: its reason, the screen's size in points (the page is
  // drawn for it) and the image's (as the image event carries it).
  struct OwedPlaceholder {
    PlaceholderReason reason = PlaceholderReason::noVideo;
    Size screen;
    Size image;
  };
  static EndEvent owedPlaceholder(PlaceholderReason reason, Size screen, Size image);
  // The placeholder among a snapshot's events, if one is owed and reads as one.
  static std::optional<OwedPlaceholder> owedPlaceholderOf(const Decoded& snapshot);

  // Replaces what `part` would write: `batch` (absent: nothing) and the events that close it, in
  // order. Too large a snapshot is replaced by the batch alone, with a log line.
  static void publish(Part part, const std::optional<BatchContext>& batch, const std::vector<EndEvent>& events = {});

  // A snapshot as published; nothing for bytes that don't decode as one.
  static std::optional<Decoded> decode(std::string_view bytes);
};

}  // namespace obx
