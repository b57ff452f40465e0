#include "testing/test_core.h"

namespace obx::testing {

std::shared_ptr<FakeReachability> wifiReachability() {
  auto reachability = std::make_shared<FakeReachability>();
  reachability->set(platform::Reachability::Connection::wifi);
  return reachability;
}

std::shared_ptr<Core> makeCore(std::shared_ptr<platform::Scheduler> scheduler,
                               std::shared_ptr<platform::Reachability> reachability,
                               const std::vector<std::string>& replaced, StandIn standIn) {
  // Without one of the test's, each set of services gets a monitor of its own, as with the real one.
  auto core = Core::make(std::move(scheduler), [reachability](std::shared_ptr<platform::Scheduler>) {
    return reachability ? reachability : wifiReachability();
  });
  for (const std::string& key : replaced) {
    core->setFeatureBuilder(key, [key, standIn](const CommonDependencies&, std::shared_ptr<DataController>) {
      return standIn(key);
    });
  }
  return core;
}

}  // namespace obx::testing
