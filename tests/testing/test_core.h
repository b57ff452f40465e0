// A Core for tests: a connectivity monitor the test can hold, and stand-ins in place of the features
// a test does not exercise, so that only what is under test records, uploads or hooks anything.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/feature.h"
#include "core/core.h"
#include "testing/fake_reachability.h"

namespace obx::testing {

// A feature registered under its key that does nothing.
class IdleFeature final : public Feature {
 public:
  explicit IdleFeature(std::string key) : key_(std::move(key)) {}
  std::string key() const override { return key_; }

 private:
  std::string key_;
};

// What a test core registers under `key` instead of the real feature; null registers nothing. It
// may throw, as a real builder may.
using StandIn = std::function<std::shared_ptr<Feature>(const std::string& key)>;
inline std::shared_ptr<Feature> idleFeature(const std::string& key) { return std::make_shared<IdleFeature>(key); }
inline std::shared_ptr<Feature> noFeature(const std::string&) { return nullptr; }

// Every feature key, in the order Core builds them.
inline const std::vector<std::string> kAllFeatures = {FeatureKey::kUpload, FeatureKey::kNetwork,
                                                      FeatureKey::kCrashReport, FeatureKey::kRUM,
                                                      FeatureKey::kSVR, FeatureKey::kBridge};

// A FakeReachability up over Wi-Fi.
std::shared_ptr<FakeReachability> wifiReachability();

// A Core on `scheduler` whose connectivity monitor is `reachability` (when null, a fresh one up over
// Wi-Fi for each set of services), with `standIn` building each feature named in `replaced`; the
// others are the real ones.
std::shared_ptr<Core> makeCore(std::shared_ptr<platform::Scheduler> scheduler,
                               std::shared_ptr<platform::Reachability> reachability = nullptr,
                               const std::vector<std::string>& replaced = {}, StandIn standIn = idleFeature);

}  // namespace obx::testing
