#include <gtest/gtest.h>

#include <filesystem>

#include "base/logger.h"
#include "base/multicast_delegate.h"
#include "base/notifier.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/files/sandbox.h"
#include "store/store_test_support.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

class NotifierTest : public ::testing::Test {
 protected:
  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::shared_ptr<platform::DispatchQueue> queue_ = platform::DispatchQueue::makeSerial(scheduler_, "observer");
  Notifier<int> notifier_{scheduler_, 0, "Int"};
  std::vector<std::pair<int, int>> seen_;
  std::shared_ptr<ObserverValue<int>> observer_ =
      ObserverValue<int>::make(queue_, [this](const int& now, const int& previous) { seen_.emplace_back(now, previous); });
};

// observe then notify delivers; notify then observe does not; nothing runs on the producer's thread;
// observing twice delivers once. Removing an observer stops deliveries; removing one that never
// subscribed changes nothing.
TEST_F(NotifierTest, OrderOfObserveAndNotifyDecides) {
  notifier_.notify(1);
  notifier_.observe(observer_);
  notifier_.observe(observer_);
  EXPECT_TRUE(seen_.empty());
  scheduler_->runUntilIdle();
  EXPECT_TRUE(seen_.empty());
  notifier_.notify(2);
  notifier_.notify(2);
  notifier_.notify(3);
  EXPECT_TRUE(seen_.empty());
  scheduler_->runUntilIdle();
  EXPECT_EQ(seen_, (std::vector<std::pair<int, int>>{{2, 1}, {2, 2}, {3, 2}}));
  EXPECT_EQ(notifier_.value(), 3);

  notifier_.remove(ObserverValue<int>::make(queue_, [](const int&, const int&) {}));
  notifier_.notify(4);
  notifier_.remove(observer_);
  notifier_.notify(5);
  scheduler_->runUntilIdle();
  EXPECT_EQ(seen_.back(), (std::pair<int, int>{4, 3}));
  EXPECT_EQ(seen_.size(), 4u);
  EXPECT_EQ(notifier_.observerCount(), 0u);
}

// An observer whose owner is gone swallows the delivery.
TEST_F(NotifierTest, DeliveryToAGoneOwnerDoesNothing) {
  struct Owner {
    int received = 0;
  };
  auto owner = std::make_shared<Owner>();
  std::weak_ptr<Owner> weak = owner;
  int* counter = &owner->received;
  auto observer = ObserverValue<int>::make(queue_, [weak](const int&, const int&) {
    if (auto self = weak.lock()) self->received++;
  });
  notifier_.observe(observer);
  notifier_.notify(1);
  scheduler_->runUntilIdle();
  EXPECT_EQ(*counter, 1);
  notifier_.notify(2);
  owner.reset();
  scheduler_->runUntilIdle();  // must not touch the freed owner
  EXPECT_FALSE(weak.lock());
}

struct Greeter {
  virtual ~Greeter() = default;
  virtual void greet() = 0;
};
struct Friendly : Greeter {
  int greeted = 0;
  void greet() override { ++greeted; }
};
struct Silent {
  virtual ~Silent() = default;
};

// invoke reaches live delegates that implement the interface, and nothing once they are gone. The
// delegates are a set: an object added twice, also through a pointer to its interface, is called
// once, and one remove takes it out.
TEST(MulticastDelegateTest, InvokesEachLiveConformingDelegateOnce) {
  MulticastDelegate<Greeter> delegates;
  auto a = std::make_shared<Friendly>();
  auto b = std::make_shared<Friendly>();
  auto silent = std::make_shared<Silent>();
  delegates.add(a);
  delegates.add(a);
  delegates.add(std::shared_ptr<Greeter>(a));
  EXPECT_EQ(delegates.liveCount(), 1u);
  delegates.add(b);
  delegates.add(silent);
  int calls = 0;
  delegates.invoke([&](Greeter& greeter) {
    greeter.greet();
    ++calls;
  });
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(a->greeted, 1);
  delegates.remove(a);
  delegates.invoke([](Greeter& greeter) { greeter.greet(); });
  EXPECT_EQ(a->greeted, 1);
  EXPECT_EQ(b->greeted, 2);
  b.reset();
  silent.reset();
  calls = 0;
  delegates.invoke([&](Greeter&) { ++calls; });
  EXPECT_EQ(calls, 0);
}

class LoggerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::setDefaultScheduler(scheduler_);
    Logger::setAllowLogs(false);
    Logger::setLogIdentity(std::nullopt);
    Logger::setLevel(LogLevel::public_);
  }
  void TearDown() override {
    Logger::setAllowLogs(false);
    Logger::setLogIdentity(std::nullopt);
    Logger::setLevel(LogLevel::public_);
    platform::setDefaultScheduler(nullptr);
  }
  std::string captureStdout(const std::function<void()>& body) {
    ::testing::internal::CaptureStdout();
    body();
    return ::testing::internal::GetCapturedStdout();
  }
  std::filesystem::path logFile() const {
    return root_ / "Library" / "Application Support" / "obx.ombrix" / "obx.ombrix.zips" / "SESSION1_LEAD1" / "SESSION1";
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make(1767225600.0 + 3661);
  testing::TemporarySandbox sandbox_;
  const std::filesystem::path root_ = sandbox_.path();
};

// A line reads "<OmbrixOBX yyyy-MM-dd HH:mm:ss>: message" and the level decides what is printed.
TEST_F(LoggerTest, LineFormatAndLevels) {
  setenv("TZ", "UTC", 1);
  tzset();
  Logger::setLevel(LogLevel::customer);
  std::string out = captureStdout([] {
    Logger::log("shown public", LogLevel::public_);
    Logger::log("shown customer", LogLevel::customer);
    Logger::log("hidden qa", LogLevel::qa);
    Logger::log("hidden developer", LogLevel::developer);
  });
  EXPECT_EQ(out,
            "<OmbrixOBX 2026-01-01 01:01:01>: shown public\n"
            "<OmbrixOBX 2026-01-01 01:01:01>: shown customer\n");
}

// Nothing reaches the disk without allowLogs or without an identity (one with no parts is none); with
// both, every line of any level is appended to the session's file, in order.
TEST_F(LoggerTest, LogFileOnlyWhenAllowedAndIdentified) {
  Logger::log("before anything", LogLevel::public_);
  Logger::setAllowLogs(true);
  Logger::setLogIdentity("__");
  Logger::saveLog("lost");
  scheduler_->runUntilIdle();
  EXPECT_FALSE(std::filesystem::exists(root_ / "Library"));
  Logger::setAllowLogs(false);
  Logger::setLogIdentity("SESSION1_LEAD1");
  Logger::log("not allowed yet", LogLevel::public_);
  scheduler_->runUntilIdle();
  EXPECT_FALSE(std::filesystem::exists(logFile()));

  Logger::setAllowLogs(true);
  Logger::setLevel(LogLevel::public_);
  captureStdout([] {
    Logger::log("first", LogLevel::developer);
    Logger::saveLog("second");
  });
  scheduler_->runUntilIdle();
  Logger::log("third", LogLevel::qa);
  scheduler_->runUntilIdle();
  const std::string text = testing::readBytes(logFile());
  EXPECT_NE(text.find(">: first\nsecond\n<OmbrixOBX "), std::string::npos) << text;
  EXPECT_NE(text.find(">: third\n"), std::string::npos);
  EXPECT_EQ(text.find("not allowed"), std::string::npos);
}

// A line hidden by the level is still built for every taker that wants it: the observer, and the
// log file when allowed and identified; hidden from all, it reaches none of them, and `takes`
// tells a caller so before it builds the message.
TEST_F(LoggerTest, HiddenLineStillReachesItsTakers) {
  struct Case {
    bool observer;
    bool allowLogs;
    bool identity;
    bool expectObserved;
    bool expectFiled;
  };
  const Case cases[] = {
      {true, false, false, true, false},
      {false, true, true, false, true},
      {true, true, true, true, true},
      {false, true, false, false, false},
      {false, false, true, false, false},
  };
  for (const auto& c : cases) {
    std::filesystem::remove_all(root_);
    std::vector<std::string> observed;
    if (c.observer) {
      Logger::setLineObserver([&observed](const std::string& line, LogLevel) { observed.push_back(line); });
    }
    Logger::setAllowLogs(c.allowLogs);
    Logger::setLogIdentity(c.identity ? std::optional<std::string>("SESSION1_LEAD1") : std::nullopt);
    EXPECT_EQ(Logger::takes(LogLevel::developer), c.expectObserved || c.expectFiled);
    EXPECT_TRUE(Logger::takes(LogLevel::public_));
    std::string out = captureStdout([] { Logger::log("hidden developer", LogLevel::developer); });
    scheduler_->runUntilIdle();
    Logger::setLineObserver({});
    EXPECT_EQ(out, "");
    EXPECT_EQ(observed.size(), c.expectObserved ? 1u : 0u);
    if (!observed.empty()) {
      EXPECT_NE(observed[0].find(">: hidden developer"), std::string::npos);
    }
    EXPECT_EQ(std::filesystem::exists(logFile()), c.expectFiled);
  }
}

}  // namespace
}  // namespace obx
