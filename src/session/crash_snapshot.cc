#include "session/crash_snapshot.h"

#include "base/logger.h"
#include "platform/crash/crash_snapshot_slots.h"

namespace obx {
namespace {

Json encodeBatch(const BatchContext& batch) {
  const ViewContext& view = batch.viewContext;
  return Json{{"id", batch.id},
              {"screenID", view.screenID},
              {"name", view.name},
              {"dateScreen", view.dateScreen},
              {"width", view.size.width},
              {"height", view.size.height},
              {"discardRecording", view.discardRecording},
              {"discardTracking", view.discardTracking}};
}

}  // namespace

void CrashSnapshot::publish(Part part, const std::optional<BatchContext>& batch, const std::vector<EndEvent>& events) {
  const auto slot = static_cast<std::size_t>(part);
  if (!batch) {
    platform::CrashSnapshotSlots::publish(slot, {});
    return;
  }
  Json snapshot{{"batch", encodeBatch(*batch)}, {"events", Json::array()}};
  for (const EndEvent& event : events) snapshot["events"].push_back(Json{{"t", rawValue(event.type)}, {"d", event.data}});
  if (platform::CrashSnapshotSlots::publish(slot, encodeJSON(snapshot))) return;
  Logger::log("Crash snapshot of screen " + batch->viewContext.screenID + " too large: a crash now keeps its batch only",
              LogLevel::developer);
  snapshot["events"] = Json::array();
  platform::CrashSnapshotSlots::publish(slot, encodeJSON(snapshot));
}

CrashSnapshot::EndEvent CrashSnapshot::owedPlaceholder(PlaceholderReason reason, Size screen, Size image) {
  return EndEvent{EventType::imagePlaceholder,
                  Json{{"reason", static_cast<int>(reason)},
                       {"screen", {screen.width, screen.height}},
                       {"image", {image.width, image.height}}}};
}

std::optional<CrashSnapshot::OwedPlaceholder> CrashSnapshot::owedPlaceholderOf(const Decoded& snapshot) {
  for (const EndEvent& event : snapshot.events) {
    if (event.type != EventType::imagePlaceholder) continue;
    try {
      const int reason = event.data.at("reason").get<int>();
      if (reason < 0 || reason > static_cast<int>(PlaceholderReason::videoMasked)) return std::nullopt;
      const Json& screen = event.data.at("screen");
      const Json& image = event.data.at("image");
      return OwedPlaceholder{static_cast<PlaceholderReason>(reason),
                             Size{screen.at(0).get<double>(), screen.at(1).get<double>()},
                             Size{image.at(0).get<double>(), image.at(1).get<double>()}};
    } catch (...) {
      return std::nullopt;
    }
  }
  return std::nullopt;
}

std::optional<CrashSnapshot::Decoded> CrashSnapshot::decode(std::string_view bytes) {
  try {
    const Json snapshot = parseJSON(bytes);
    const Json& batch = snapshot.at("batch");
    Decoded decoded;
    decoded.batch.id = batch.at("id").get<std::string>();
    ViewContext& view = decoded.batch.viewContext;
    view.screenID = batch.at("screenID").get<std::string>();
    view.name = batch.at("name").get<std::string>();
    view.dateScreen = batch.at("dateScreen").get<double>();
    view.size = Size{batch.at("width").get<double>(), batch.at("height").get<double>()};
    view.discardRecording = batch.at("discardRecording").get<bool>();
    view.discardTracking = batch.at("discardTracking").get<bool>();
    for (const Json& event : snapshot.at("events")) {
      auto type = eventTypeFromRawValue(event.at("t").get<std::string>());
      if (!type) return std::nullopt;
      decoded.events.push_back(EndEvent{*type, event.at("d")});
    }
    // The batch names a folder of the spool: nothing else.
    const std::string& id = decoded.batch.id;
    if (id.empty() || id == "." || id == ".." || id.find('/') != std::string::npos) return std::nullopt;
    return decoded;
  } catch (...) {
    return std::nullopt;
  }
}

}  // namespace obx
