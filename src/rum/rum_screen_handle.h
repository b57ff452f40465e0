// RUMScreenHandle: the values that describe the application and the device at the start of each
// screen: the AppMiscellaneous record and the orientation text of Screen. RUMCore calls it on its
// main-targeted queue, because both read the toolkit; `currentConnectivity` is set from the
// analytics queue and is atomic.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "lifecycle/app_state_cycle.h"
#include "platform/ui/device.h"
#include "store/events/payloads.h"

namespace obx {

class Metrics;
namespace platform {
class Application;
}

class RUMScreenHandle {
 public:
  using EnvironmentLookup = std::function<std::optional<std::string>(const std::string& name)>;

  static constexpr const char* kSimulatorModelVariable = "SIMULATOR_MODEL_IDENTIFIER";

  // `application` is the toolkit's application read for scenes, screen and device; null means
  // the shared one at each call.
  RUMScreenHandle(std::shared_ptr<Metrics> metrics, ReachabilityConnection currentConnectivity,
                  std::shared_ptr<platform::Application> application = nullptr);

  ReachabilityConnection currentConnectivity() const { return currentConnectivity_.load(); }
  void setCurrentConnectivity(ReachabilityConnection connection) { currentConnectivity_.store(connection); }

  // The record for a screen starting now. Main queue.
  AppMiscellaneous appMiscellaneous() const;
  // "vt2b", "vb2t", "hr2l" or "hl2r" from the connected window scenes. Main queue.
  std::string orientation() const;

  // Value tables, public for their callers and tests.
  static std::string connectivityText(ReachabilityConnection connection);
  static std::string systemType(platform::UserInterfaceIdiom idiom);
  static std::string deviceType(platform::UserInterfaceIdiom idiom);
  // The text of an interface orientation's raw value; unknown values read as portrait.
  static std::string orientationText(int rawOrientation);
  // "<width>x<height>", both truncated.
  static std::string screenSize(double width, double height);
  // The marketing name of a machine identifier; a simulator ("i386", "x86_64") is "Simulator "
  // and the name of the identifier in SIMULATOR_MODEL_IDENTIFIER, or of "iOS" when unset.
  // Identifiers outside the table come back unchanged.
  static std::string modelName(const std::string& identifier, const EnvironmentLookup& environment);
  // modelName of this machine, computed once per process.
  static const std::string& deviceModelName();

 private:
  std::shared_ptr<platform::Application> application() const;

  std::shared_ptr<Metrics> metrics_;
  std::atomic<ReachabilityConnection> currentConnectivity_;
  std::shared_ptr<platform::Application> application_;
};

}  // namespace obx
