#include "rum/rum_screen_handle.h"

#include <gtest/gtest.h>

#include <map>

#include "config/sdk_configuration.h"
#include "platform/bundle/bundle_info.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/ui/application.h"
#include "session/metrics.h"

namespace obx {
namespace {

using platform::UserInterfaceIdiom;

RUMScreenHandle::EnvironmentLookup environmentOf(std::map<std::string, std::string> values) {
  return [values](const std::string& name) -> std::optional<std::string> {
    auto found = values.find(name);
    if (found == values.end()) return std::nullopt;
    return found->second;
  };
}

// Identifiers map to the table's names; unknown ones, "arm64" among them, come back unchanged.
TEST(RUMScreenHandleModel, IdentifierTable) {
  const std::pair<const char*, const char*> cases[] = {
      {"iPod5,1", "iPod touch (5th generation)"},
      {"iPhone12,8", "iPhone SE (2nd generation)"},
      {"iPhone14,5", "iPhone 13"},
      {"iPad13,11", "iPad Pro (12.9-inch) (5th generation)"},
      {"iPad13,19", "iPad (10th generation)"},
      {"AppleTV6,2", "Apple TV 4K"},
      {"AudioAccessory5,1", "HomePod mini"},
      {"arm64", "arm64"},
      {"iPhone99,1", "iPhone99,1"},
      {"iphone14,5", "iphone14,5"},
      {"", ""},
  };
  for (auto [identifier, name] : cases) {
    EXPECT_EQ(RUMScreenHandle::modelName(identifier, environmentOf({})), name) << identifier;
  }
}

// A simulator names itself after SIMULATOR_MODEL_IDENTIFIER, looked up in the same table, or "iOS";
// this machine's name follows the rule for its uname identifier and is the same on every call.
TEST(RUMScreenHandleModel, SimulatorRuleAndThisMachine) {
  EXPECT_EQ(RUMScreenHandle::modelName("x86_64", environmentOf({})), "Simulator iOS");
  EXPECT_EQ(RUMScreenHandle::modelName("i386", environmentOf({})), "Simulator iOS");
  EXPECT_EQ(RUMScreenHandle::modelName("x86_64", environmentOf({{"SIMULATOR_MODEL_IDENTIFIER", "iPhone15,2"}})),
            "Simulator iPhone 14 Pro");
  EXPECT_EQ(RUMScreenHandle::modelName("i386", environmentOf({{"SIMULATOR_MODEL_IDENTIFIER", "Watch6,1"}})),
            "Simulator Watch6,1");
  // Only the exact simulator identifiers take the rule.
  EXPECT_EQ(RUMScreenHandle::modelName("x86_64h", environmentOf({})), "x86_64h");

  const std::string& name = RUMScreenHandle::deviceModelName();
  EXPECT_EQ(&name, &RUMScreenHandle::deviceModelName());
#if defined(__x86_64__)
  if (std::getenv("SIMULATOR_MODEL_IDENTIFIER") == nullptr) {
    EXPECT_EQ(name, "Simulator iOS");
  }
#endif
  EXPECT_FALSE(name.empty());
}

// The orientation texts by raw interface orientation; unknown values read as portrait.
TEST(RUMScreenHandleOrientation, RawValueTable) {
  const std::pair<int, const char*> cases[] = {{0, "vt2b"}, {1, "vt2b"}, {2, "vb2t"}, {3, "hr2l"},
                                               {4, "hl2r"}, {5, "vt2b"}, {-1, "vt2b"}};
  for (auto [raw, text] : cases) EXPECT_EQ(RUMScreenHandle::orientationText(raw), text) << raw;
}

class RUMScreenHandleTest : public ::testing::Test {
 protected:
  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::shared_ptr<platform::Application> application_ = std::make_shared<platform::Application>(scheduler_);
  Configuration configuration_{"acc", "prop", Consent::analyticsAndRecording, false, true, false, false, false};

  void TearDown() override {
    platform::BundleInfo::main().setObject("CFBundleShortVersionString", std::nullopt);
    platform::BundleInfo::sdk().setObject("Ombrix OBX Version", std::nullopt);
  }
};

// The last connected scene decides the orientation.
TEST_F(RUMScreenHandleTest, OrientationFromTheLastScene) {
  RUMScreenHandle handle(nullptr, ReachabilityConnection::none, application_);
  EXPECT_EQ(handle.orientation(), "vt2b");
  application_->defaultScene()->setInterfaceOrientation(platform::InterfaceOrientation::landscapeLeft);
  EXPECT_EQ(handle.orientation(), "hl2r");
  auto second = application_->connectScene();
  second->setInterfaceOrientation(platform::InterfaceOrientation::portraitUpsideDown);
  EXPECT_EQ(handle.orientation(), "vb2t");
  second->setInterfaceOrientation(platform::InterfaceOrientation::landscapeRight);
  EXPECT_EQ(handle.orientation(), "hr2l");
}

// Idiom, connectivity, screen size, versions and launches fill their fields.
TEST_F(RUMScreenHandleTest, AppMiscellaneousFields) {
  auto sdkConfiguration = std::make_shared<SDKConfiguration>(configuration_, Platform::native(), scheduler_);
  auto metrics = std::make_shared<Metrics>(sdkConfiguration);
  RUMScreenHandle handle(metrics, ReachabilityConnection::none, application_);
  application_->device()->setSystemVersion("17.4");
  application_->mainScreen()->setBounds(platform::Rect::make(0, 0, 390.9, 844.5));

  AppMiscellaneous record = handle.appMiscellaneous();
  EXPECT_EQ(record.appLaunches, 1);
  EXPECT_EQ(record.appVersionNumber, "unknown");
  EXPECT_EQ(record.version, "unknown");
  EXPECT_EQ(record.connectivity, "No Connection");
  EXPECT_EQ(record.systemType, "iOS");
  EXPECT_EQ(record.deviceType, "phone");
  EXPECT_EQ(record.deviceName, RUMScreenHandle::deviceModelName());
  EXPECT_EQ(record.osVersion, "17.4");
  EXPECT_EQ(record.screenSize, "390x844");

  platform::BundleInfo::main().setObject("CFBundleShortVersionString", "4.2.1");
  platform::BundleInfo::sdk().setObject("Ombrix OBX Version", "1.9.0");
  metrics->incrementAppLaunchesSessions();
  handle.setCurrentConnectivity(ReachabilityConnection::cellular);
  application_->device()->setUserInterfaceIdiom(UserInterfaceIdiom::pad);
  application_->mainScreen()->setBounds(platform::Rect::make(0, 0, 1024, 1366.75));
  record = handle.appMiscellaneous();
  EXPECT_EQ(record.appLaunches, 2);
  EXPECT_EQ(record.appVersionNumber, "4.2.1");
  EXPECT_EQ(record.version, "1.9.0");
  EXPECT_EQ(record.connectivity, "Cellular");
  EXPECT_EQ(record.systemType, "iPadOS");
  EXPECT_EQ(record.deviceType, "tablet");
  EXPECT_EQ(record.screenSize, "1024x1366");

  // Idioms other than phone and pad are an unknown device on "iOS"; WiFi reads "WiFi".
  handle.setCurrentConnectivity(ReachabilityConnection::wifi);
  for (UserInterfaceIdiom idiom : {UserInterfaceIdiom::tv, UserInterfaceIdiom::carPlay, UserInterfaceIdiom::mac,
                                   UserInterfaceIdiom::unspecified}) {
    application_->device()->setUserInterfaceIdiom(idiom);
    record = handle.appMiscellaneous();
    EXPECT_EQ(record.deviceType, "uknown");
    EXPECT_EQ(record.systemType, "iOS");
    EXPECT_EQ(record.connectivity, "WiFi");
  }
}

// A multiplatform host reports its own version with the SDK's in parentheses.
TEST_F(RUMScreenHandleTest, MultiplatformVersion) {
  Platform flutter{PlatformType::flutter, "3.22.0", "Dart"};
  auto sdkConfiguration = std::make_shared<SDKConfiguration>(configuration_, flutter, scheduler_);
  Metrics metrics(sdkConfiguration);
  EXPECT_EQ(metrics.version(), "3.22.0 (unknown)");
  platform::BundleInfo::sdk().setObject("Ombrix OBX Version", "2.0.1");
  EXPECT_EQ(metrics.version(), "3.22.0 (2.0.1)");
}

}  // namespace
}  // namespace obx
