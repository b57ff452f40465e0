#include "upload/http_retrying.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/dispatch/manual_scheduler.h"
#include "testing/fake_url_session.h"
#include "testing/log_capture.h"
#include "testing/manual_producers.h"

namespace obx {
namespace {

using testing::FakeURLSession;
using testing::ManualReachability;
using Outcome = FakeURLSession::Outcome;

const std::string kRetryLine = "Upload failed with exception: Upload to collection server failed!, need retry";

class HTTPRetryingTest : public ::testing::Test {
 protected:
  struct Call {
    std::vector<SendResult> results;
    int signals = 0;
  };

  // Starts a send of `request` with the worker's defaults unless told otherwise.
  void start(Call& call, const platform::URLRequest& request, int tries = 5, double delay = 3.0) {
    retrying_->send(
        request, tries, delay, [&call](SendResult result) { call.results.push_back(std::move(result)); },
        [&call] { ++call.signals; });
  }

  static platform::URLRequest requestFor(const std::string& url) {
    return platform::URLRequest(*platform::URL::fromString(url));
  }

  static std::optional<RetryPolicy> policyOf(const Call& call) {
    if (call.results.size() != 1 || !call.results[0].retryPolicyException()) return std::nullopt;
    return call.results[0].retryPolicyException()->policy;
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::shared_ptr<platform::DispatchQueue> delegateQueue_ =
      platform::DispatchQueue::makeSerial(scheduler_, "session-delegate");
  std::shared_ptr<FakeURLSession> session_ = std::make_shared<FakeURLSession>(delegateQueue_);
  std::shared_ptr<ManualReachability> reachability_ = std::make_shared<ManualReachability>(scheduler_, ReachabilityConnection::wifi);
  std::unique_ptr<HTTPRetrying> retrying_ =
      std::make_unique<HTTPRetrying>(std::make_shared<HTTPClient>(session_), reachability_, scheduler_);
  platform::URLRequest screenA_ = requestFor("https://collect.example.test/asset/?asset=A.zip");
  platform::URLRequest screenB_ = requestFor("https://collect.example.test/asset/?asset=B.zip");
  testing::LogCapture logs_;
};

// Five 503s in a row go out 3.0 seconds apart; the sixth attempt ends in `stop` without a send.
TEST_F(HTTPRetryingTest, FiveServerErrorsThenStopWithoutASixthSend) {
  session_->setFallback(Outcome::status(503));
  Call call;
  start(call, screenA_);
  scheduler_->runUntilIdle();
  EXPECT_EQ(session_->sendCount(), 1u);
  for (std::size_t sent = 2; sent <= 5; ++sent) {
    scheduler_->advance(2.9);
    EXPECT_EQ(session_->sendCount(), sent - 1) << "the retry must wait the whole delay";
    scheduler_->advance(0.1);
    EXPECT_EQ(session_->sendCount(), sent);
  }
  EXPECT_TRUE(call.results.empty());
  scheduler_->advance(3.0);
  EXPECT_EQ(session_->sendCount(), 5u);
  EXPECT_EQ(policyOf(call), RetryPolicy::stop);
  EXPECT_EQ(call.results[0].retryPolicyException()->description, "Upload to collection server failed!");
  EXPECT_EQ(call.signals, 1);
  EXPECT_EQ(logs_.count(kRetryLine), 5u);
  EXPECT_EQ(retrying_->counter(), 5);
  scheduler_->advance(60.0);
  EXPECT_EQ(session_->sendCount(), 5u);
  EXPECT_EQ(call.results.size(), 1u);
}

// A success after two retries delivers the body, sets the counter back to 0 and signals once.
TEST_F(HTTPRetryingTest, SuccessAfterRetriesResetsTheCounter) {
  session_->enqueue(Outcome::status(502));
  session_->enqueue(Outcome::failure(platform::URLError::kNetworkConnectionLost));
  session_->enqueue(Outcome::status(200, {'o', 'k'}));
  Call call;
  start(call, screenA_);
  scheduler_->runUntilIdle();
  EXPECT_EQ(retrying_->counter(), 1);
  scheduler_->advance(6.0);
  ASSERT_EQ(call.results.size(), 1u);
  ASSERT_TRUE(call.results[0].isSuccess());
  EXPECT_EQ(*call.results[0].data, (platform::Data{'o', 'k'}));
  EXPECT_EQ(session_->sendCount(), 3u);
  EXPECT_EQ(retrying_->counter(), 0);
  EXPECT_EQ(call.signals, 1);
}

// A refused request (404) ends in `drop` at once, with no retry.
TEST_F(HTTPRetryingTest, DropIsNotRetried) {
  session_->enqueue(Outcome::status(404));
  Call call;
  start(call, screenA_);
  scheduler_->advance(30.0);
  EXPECT_EQ(session_->sendCount(), 1u);
  EXPECT_EQ(policyOf(call), RetryPolicy::drop);
  EXPECT_EQ(call.signals, 1);
  EXPECT_EQ(retrying_->counter(), 1);
  EXPECT_EQ(logs_.count(kRetryLine), 0u);
}

// Without connectivity (none, or nothing reported yet) nothing goes out: ConnectionError, a log
// line, and the semaphore.
TEST_F(HTTPRetryingTest, NoConnectivityNoSend) {
  for (std::optional<ReachabilityConnection> connection :
       {std::optional<ReachabilityConnection>(ReachabilityConnection::none), std::optional<ReachabilityConnection>()}) {
    auto reachability = std::make_shared<ManualReachability>(scheduler_, connection);
    HTTPRetrying offline(std::make_shared<HTTPClient>(session_), reachability, scheduler_);
    Call call;
    offline.send(
        screenA_, 5, 3.0, [&call](SendResult result) { call.results.push_back(std::move(result)); },
        [&call] { ++call.signals; });
    scheduler_->runUntilIdle();
    ASSERT_EQ(call.results.size(), 1u);
    ASSERT_TRUE(call.results[0].error.has_value());
    const auto* error = std::get_if<ConnectionError>(&*call.results[0].error);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->description, "Not internet connection");
    EXPECT_EQ(call.signals, 1);
  }
  EXPECT_EQ(session_->sendCount(), 0u);
  EXPECT_EQ(logs_.count("Not internet connection"), 2u);
  EXPECT_TRUE(logs_.contains("Not internet connection", LogLevel::developer));
}

// Retries stop when connectivity goes away between two tries, and resume use once it is back.
TEST_F(HTTPRetryingTest, RetriesStopWhileOffline) {
  session_->setFallback(Outcome::status(503));
  Call call;
  start(call, screenA_);
  scheduler_->runUntilIdle();
  reachability_->publish(ReachabilityConnection::none);
  scheduler_->advance(3.0);
  EXPECT_EQ(session_->sendCount(), 1u);
  ASSERT_EQ(call.results.size(), 1u);
  EXPECT_TRUE(std::holds_alternative<ConnectionError>(*call.results[0].error));
  EXPECT_EQ(retrying_->connection(), ReachabilityConnection::none);

  reachability_->publish(ReachabilityConnection::cellular);
  scheduler_->runUntilIdle();
  EXPECT_EQ(retrying_->connection(), ReachabilityConnection::cellular);
  session_->setFallback(Outcome::status(200));
  Call again;
  start(again, screenA_);
  scheduler_->runUntilIdle();
  ASSERT_EQ(again.results.size(), 1u);
  EXPECT_TRUE(again.results[0].isSuccess());
}

// The counter is shared: after one request spent the tries, another request ends in `stop` without
// a send, until resetCounter() lets it go out again.
TEST_F(HTTPRetryingTest, SharedCounterAcrossRequestsAndReset) {
  session_->setFallback(Outcome::status(500));
  Call first;
  start(first, screenA_);
  scheduler_->advance(15.0);
  EXPECT_EQ(policyOf(first), RetryPolicy::stop);
  EXPECT_EQ(session_->sendCount(), 5u);

  Call second;
  start(second, screenB_);
  scheduler_->runUntilIdle();
  EXPECT_EQ(policyOf(second), RetryPolicy::stop);
  EXPECT_EQ(session_->sendCount(), 5u);
  EXPECT_EQ(second.signals, 1);

  retrying_->resetCounter();
  session_->setFallback(Outcome::status(200));
  Call third;
  start(third, screenB_);
  scheduler_->runUntilIdle();
  ASSERT_EQ(third.results.size(), 1u);
  EXPECT_TRUE(third.results[0].isSuccess());
  EXPECT_EQ(session_->sendCount(), 6u);
  EXPECT_EQ(session_->sentRequests().back().url.absoluteString(), screenB_.url.absoluteString());
}

// Failed tries of one request count against the next one: two 503s of A leave B one try of three.
TEST_F(HTTPRetryingTest, FailuresCarryOverToTheNextRequest) {
  session_->setFallback(Outcome::status(503));
  Call first;
  start(first, screenA_, 3);
  scheduler_->advance(3.0);
  EXPECT_EQ(session_->sendCount(), 2u);
  reachability_->publish(ReachabilityConnection::none);
  scheduler_->advance(3.0);
  EXPECT_TRUE(std::holds_alternative<ConnectionError>(*first.results.at(0).error));
  EXPECT_EQ(retrying_->counter(), 2);

  reachability_->publish(ReachabilityConnection::wifi);
  scheduler_->runUntilIdle();
  Call second;
  start(second, screenB_, 3);
  scheduler_->advance(10.0);
  EXPECT_EQ(session_->sendCount(), 3u);
  EXPECT_EQ(policyOf(second), RetryPolicy::stop);
}

// A retry still pending when the object goes away does nothing, and the observer is removed.
TEST_F(HTTPRetryingTest, PendingRetryAfterDestructionDoesNothing) {
  session_->setFallback(Outcome::status(503));
  Call call;
  start(call, screenA_);
  scheduler_->runUntilIdle();
  EXPECT_EQ(reachability_->observerCount(), 1u);
  retrying_.reset();
  scheduler_->runUntilIdle();
  EXPECT_EQ(reachability_->observerCount(), 0u);
  scheduler_->advance(30.0);
  EXPECT_EQ(session_->sendCount(), 1u);
  EXPECT_TRUE(call.results.empty());
}

}  // namespace
}  // namespace obx
