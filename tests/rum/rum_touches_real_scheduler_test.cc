// The touch and scroll capture on the real scheduler: the application's main loop taps and drags
// while the RUM core goes away on another thread, as Core removes the feature from its own queue.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>

#include "platform/dispatch/real_scheduler.h"
#include "platform/ui/application.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/touch_synthesizer.h"
#include "platform/ui/window.h"
#include "rum/rum_core.h"
#include "testing/manual_producers.h"
#include "testing/spool.h"

namespace obx {
namespace {

// Every event and every scroll reaches the toolkit whole while the hooks are taken out under them;
// what the capture wrote before is whole touch records.
TEST(RUMTouchesRealScheduler, HooksGoWhileTheMainLoopTouches) {
  auto scheduler = std::make_shared<platform::RealScheduler>();
  testing::Spool spool(scheduler);
  auto application = platform::Application::resetShared(scheduler);
  auto window = std::make_shared<platform::Window>();
  window->makeKeyAndVisible();
  auto list = std::make_shared<platform::ScrollView>(platform::Rect::make(0, 0, 390, 800));
  list->setContentSize({390, 4000});
  window->addSubview(list);

  const BatchContext batch = testing::Spool::batch("A_1", scheduler->clock().now(), "List");
  RUMDependencies dependencies;
  dependencies.configuration = spool.configuration();
  dependencies.batchCoordinator = std::make_shared<testing::ManualBatches>(scheduler, batch);
  auto core = RUMCore::make(dependencies, spool.dataController(), scheduler);

  auto touchesStored = [&] {
    int count = 0;
    for (const Json& event : spool.events(batch)) {
      const std::string type = event["t"];
      if (type != "tB" && type != "tM" && type != "tE") continue;
      ++count;
      for (const Json& touch : event["d"]) EXPECT_TRUE(touch.contains("x") && touch.contains("y"));
    }
    return count;
  };

  constexpr int kRounds = 300;
  platform::TouchSynthesizer fingers(application, nullptr);
  auto others = platform::DispatchQueue::makeConcurrent(scheduler, "test.others");
  int rounds = 0;  // main loop only
  auto touchRounds = [&](int count) {
    for (int i = 0; i < count; ++i) {
      scheduler->mainQueue()->async([&] {
        fingers.tap({100, 100});
        fingers.drag({100, 600}, {100, 500}, 4, 0);
        ++rounds;
      });
    }
  };
  touchRounds(kRounds / 3);
  ASSERT_TRUE(scheduler->runMainLoop([&] { return rounds >= kRounds / 3 && touchesStored() > 0; }, 30.0));
  // The core goes on another thread while the main loop goes on touching.
  std::atomic<bool> coreGone{false};
  others->async([&] {
    core.reset();
    coreGone = true;
  });
  touchRounds(kRounds - kRounds / 3);
  ASSERT_TRUE(scheduler->runMainLoop([&] { return rounds >= kRounds && coreGone.load(); }, 30.0));
  scheduler->runMainLoop([] { return false; }, 0.2);

  EXPECT_EQ(application->eventsDelivered(), static_cast<std::uint64_t>(rounds * (2 + 6)));
  EXPECT_EQ(list->contentOffset().y, 3200);  // every drag moved the content, to its end
  const int touches = touchesStored();
  EXPECT_GT(touches, 0);
}

}  // namespace
}  // namespace obx
