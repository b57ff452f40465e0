// Pages in web views learn a changed sampling decision: which changes reach them, which web views
// of the key window are reached, and the script they run.
#include "rum/rum_web_view_sampling.h"

#include <gtest/gtest.h>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/ui/application.h"
#include "platform/ui/button.h"
#include "platform/ui/label.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/web_view.h"
#include "platform/ui/window.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

using F = SamplingFlags;

// The page's script for a flag, written out from the web tag's contract rather than built.
std::string expectedScript(int n) {
  return "   function sonvelReady() {\n"
         "       window.sonvelGauge.setSamplingFromNative(" + std::to_string(n) + ");\n"
         "   }\n"
         "   if (typeof window.sonvelGauge !== \"undefined\") {\n"
         "       window.sonvelGauge('ready', sonvelReady);\n"
         "   } else {\n"
         "       window._qv_readyArray = window._qv_readyArray || [];\n"
         "       window._qv_readyArray.push(sonvelReady);\n"
         "   }";
}

class RUMWebViewSamplingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    window_->addSubview(page_);
    window_->makeKeyAndVisible();
    scheduler_->runUntilIdle();
  }
  std::shared_ptr<RUMWebViewSampling> makeSampling() {
    auto sampling = RUMWebViewSampling::make(configuration_, queue_, scheduler_->mainQueue());
    scheduler_->runUntilIdle();
    return sampling;
  }
  void serverSets(const std::function<void(LiveConfiguration&)>& edit) {
    configuration_->editLiveConfiguration(edit);
    configuration_->applyLiveConfiguration();
    scheduler_->runUntilIdle();
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::LogCapture logs_;
  std::shared_ptr<platform::Application> application_ = platform::Application::resetShared(scheduler_);
  std::shared_ptr<SDKConfiguration> configuration_ = std::make_shared<SDKConfiguration>(
      Configuration("account", "property", Consent::analyticsAndRecording, false, true, false, false, false),
      Platform::native(), scheduler_);
  std::shared_ptr<platform::DispatchQueue> queue_ = platform::DispatchQueue::makeSerial(scheduler_, "rum");
  std::shared_ptr<platform::Window> window_ = std::make_shared<platform::Window>();
  std::shared_ptr<platform::WebView> page_ = std::make_shared<platform::WebView>();
};

// Each change of the user's retention or of the server's session or lead flags runs the script
// with the new web flag (its raw value, appOutSample as 2); other changes leave the page alone.
TEST_F(RUMWebViewSamplingTest, FlagChangesReachTheOpenPage) {
  auto sampling = makeSampling();
  const struct {
    const char* change;
    std::function<void()> apply;
    std::optional<int> flag;
  } cases[] = {
      {"retention false", [&] { configuration_->setRetention(false); }, 2},
      {"batch time", [&] { serverSets([](LiveConfiguration& live) { live.batchTime = 9.0; }); }, std::nullopt},
      {"replay flags", [&] { serverSets([](LiveConfiguration& live) { live.replaySessionFlags = F::appOutSample; }); },
       std::nullopt},
      {"new session resets retention",
       [&] { configuration_->editUserConfiguration([](UserConfiguration& user) { user.userSessionCookieFlag.reset(); });
             configuration_->applyUserConfiguration(); },
       0},
      {"server session flag", [&] { serverSets([](LiveConfiguration& live) { live.sessionCookieFlags = F::collectionInSample; }); },
       3},
      {"same value again", [&] { serverSets([](LiveConfiguration& live) { live.sessionCookieFlags = F::collectionInSample; }); },
       std::nullopt},
      {"server lead flag", [&] { serverSets([](LiveConfiguration& live) { live.leadCookieFlags = F::collectionOutSample; }); },
       4},
  };
  for (const auto& c : cases) {
    std::size_t before = page_->evaluatedScripts().size();
    c.apply();
    scheduler_->runUntilIdle();
    if (!c.flag) {
      EXPECT_EQ(page_->evaluatedScripts().size(), before) << c.change;
      continue;
    }
    ASSERT_EQ(page_->evaluatedScripts().size(), before + 1) << c.change;
    EXPECT_EQ(page_->evaluatedScripts().back(), expectedScript(*c.flag)) << c.change;
    EXPECT_TRUE(logs_.contains("called for WebView: " + expectedScript(*c.flag), LogLevel::developer)) << c.change;
  }
}

// The walk of the key window reaches web views inside plain and scroll views, not those inside a
// button or a label, nor a web view inside another web view; other windows are not looked at.
TEST_F(RUMWebViewSamplingTest, WalkSkipsButtonsLabelsAndNestedPages) {
  auto container = std::make_shared<platform::View>();
  auto inContainer = std::make_shared<platform::WebView>();
  container->addSubview(inContainer);
  auto scroll = std::make_shared<platform::ScrollView>();
  auto inScroll = std::make_shared<platform::WebView>();
  scroll->addSubview(inScroll);
  auto button = std::make_shared<platform::Button>();
  auto inButton = std::make_shared<platform::WebView>();
  button->addSubview(inButton);
  auto label = std::make_shared<platform::Label>();
  auto inLabel = std::make_shared<platform::WebView>();
  label->addSubview(inLabel);
  auto nested = std::make_shared<platform::WebView>();
  page_->addSubview(nested);
  for (const auto& view : std::vector<std::shared_ptr<platform::View>>{container, scroll, button, label}) {
    window_->addSubview(view);
  }
  auto otherWindow = std::make_shared<platform::Window>();
  auto inOtherWindow = std::make_shared<platform::WebView>();
  otherWindow->addSubview(inOtherWindow);

  auto sampling = makeSampling();
  configuration_->setRetention(true);
  scheduler_->runUntilIdle();

  const struct {
    const char* where;
    std::shared_ptr<platform::WebView> view;
    std::size_t scripts;
  } cases[] = {
      {"window", page_, 1},          {"plain view", inContainer, 1}, {"scroll view", inScroll, 1},
      {"button", inButton, 0},       {"label", inLabel, 0},          {"inside a web view", nested, 0},
      {"other window", inOtherWindow, 0},
  };
  for (const auto& c : cases) EXPECT_EQ(c.view->evaluatedScripts().size(), c.scripts) << c.where;
  EXPECT_EQ(page_->evaluatedScripts().front(), expectedScript(1));
}

// A sampling object gone before the change is handled pushes nothing and has left the
// configuration's observers; without a key window nothing is pushed.
TEST_F(RUMWebViewSamplingTest, NothingPushedWhenGoneOrWithoutKeyWindow) {
  auto sampling = makeSampling();
  configuration_->setRetention(false);
  sampling.reset();
  scheduler_->runUntilIdle();
  EXPECT_TRUE(page_->evaluatedScripts().empty());
  EXPECT_EQ(configuration_->notifier().observerCount(), 0u);

  auto fresh = makeSampling();
  platform::Application::resetShared(scheduler_);
  serverSets([](LiveConfiguration& live) { live.sessionCookieFlags = F::appInSample; });
  EXPECT_TRUE(page_->evaluatedScripts().empty());
  EXPECT_FALSE(logs_.contains("called for WebView: " + expectedScript(1)));
}

}  // namespace
}  // namespace obx
