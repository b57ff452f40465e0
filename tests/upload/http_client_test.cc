#include "upload/http_client.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/logger.h"
#include "platform/dispatch/manual_scheduler.h"
#include "testing/fake_url_session.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

using testing::FakeURLSession;
using Outcome = FakeURLSession::Outcome;

struct Expected {
  bool success;
  RetryPolicy policy;  // when not a success
};

class HTTPClientTest : public ::testing::Test {
 protected:
  void TearDown() override { Logger::setLevel(LogLevel::public_); }

  // Sends one request answered with `outcome` and returns what the completion got.
  SendResult sendWith(Outcome outcome) {
    session_->enqueue(std::move(outcome));
    std::vector<SendResult> results;
    client_.send(request_, [&](SendResult result) { results.push_back(std::move(result)); });
    scheduler_->runUntilIdle();
    EXPECT_EQ(results.size(), 1u);
    return results.empty() ? SendResult{} : results.front();
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::shared_ptr<platform::DispatchQueue> delegateQueue_ =
      platform::DispatchQueue::makeSerial(scheduler_, "session-delegate");
  std::shared_ptr<FakeURLSession> session_ = std::make_shared<FakeURLSession>(delegateQueue_);
  HTTPClient client_{session_};
  platform::URLRequest request_{*platform::URL::fromString("https://collect.example.test/asset/?type=zip")};
  testing::LogCapture logs_;
};

// Every status of the table classifies as the rules say: 200 succeeds, 500 to 504 retry, every
// other known status drops.
TEST_F(HTTPClientTest, EveryKnownStatusClassifies) {
  for (int raw = -1; raw <= 600; ++raw) {
    auto code = httpCodeFromRaw(raw);
    if (!code) continue;
    SCOPED_TRACE(raw);
    SendResult result = sendWith(Outcome::status(raw));
    if (raw == 200) {
      EXPECT_TRUE(result.isSuccess());
      continue;
    }
    ASSERT_NE(result.retryPolicyException(), nullptr);
    const RetryPolicy expected = (raw >= 500 && raw <= 504) ? RetryPolicy::retry : RetryPolicy::drop;
    EXPECT_EQ(result.retryPolicyException()->policy, expected);
    EXPECT_EQ(result.retryPolicyException()->description, "Upload to collection server failed!");
    EXPECT_FALSE(result.data.has_value());
  }
  EXPECT_EQ(session_->sendCount(), 64u);
}

// Beyond the known statuses: an error beside a 200 still succeeds; unknown statuses and transport
// failures retry.
TEST_F(HTTPClientTest, OutcomeTable) {
  struct Row {
    const char* name;
    Outcome outcome;
    Expected expected;
  };
  Outcome okWithError = Outcome::status(200, {'o', 'k'});
  okWithError.error = platform::URLError::make(platform::URLError::kNetworkConnectionLost);
  const std::vector<Row> rows = {
      {"200 with an error", okWithError, {true, RetryPolicy::drop}},
      {"599 unknown", Outcome::status(599), {false, RetryPolicy::retry}},
      {"418 unknown", Outcome::status(418), {false, RetryPolicy::retry}},
      {"-7 unknown", Outcome::status(-7), {false, RetryPolicy::retry}},
      {"timed out", Outcome::failure(platform::URLError::kTimedOut), {false, RetryPolicy::retry}},
      {"no response, no error", Outcome{}, {false, RetryPolicy::retry}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    SendResult result = sendWith(row.outcome);
    EXPECT_EQ(result.isSuccess(), row.expected.success);
    if (!row.expected.success) {
      ASSERT_NE(result.retryPolicyException(), nullptr);
      EXPECT_EQ(result.retryPolicyException()->policy, row.expected.policy);
    }
  }
}

// A success hands over the response's bytes and logs its status; a transport failure logs the
// error's description.
TEST_F(HTTPClientTest, SuccessDataAndLogLines) {
  SendResult ok = sendWith(Outcome::status(200, {'{', '}'}));
  ASSERT_TRUE(ok.data.has_value());
  EXPECT_EQ(*ok.data, (platform::Data{'{', '}'}));
  EXPECT_TRUE(logs_.contains("✅ Upload response with status code: 200", LogLevel::qa));

  sendWith(Outcome::failure(platform::URLError::kTimedOut));
  EXPECT_TRUE(logs_.contains("Upload failed with error: The request timed out.", LogLevel::qa));

  logs_.clear();
  sendWith(Outcome{});
  sendWith(Outcome::status(404));
  for (const auto& message : logs_.messages())
    EXPECT_EQ(message.rfind("Upload failed with error: ", 0), std::string::npos);
}

// The request line is logged only when the log level admits qa.
TEST_F(HTTPClientTest, RequestLineOnlyWhenVerbose) {
  const std::string line = "✉️ Send request to: https://collect.example.test/asset/?type=zip";
  Logger::setLevel(LogLevel::customer);
  sendWith(Outcome::status(200));
  EXPECT_FALSE(logs_.contains(line));
  Logger::setLevel(LogLevel::qa);
  sendWith(Outcome::status(200));
  EXPECT_TRUE(logs_.contains(line, LogLevel::qa));
}

// The completion runs on the session's delegate queue, not on the caller's stack.
TEST_F(HTTPClientTest, CompletionRunsOnTheSessionQueue) {
  bool onQueue = false;
  int calls = 0;
  client_.send(request_, [&](SendResult) {
    ++calls;
    onQueue = delegateQueue_->isCurrent();
  });
  EXPECT_EQ(calls, 0);
  scheduler_->runUntilIdle();
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(onQueue);
}

// A session that makes no task (a replaced factory that returned none) still completes the send,
// as an unanswered request.
TEST_F(HTTPClientTest, NoTaskCountsAsNoAnswer) {
  class NoTaskSession final : public platform::URLSessionProtocol {
   public:
    std::shared_ptr<platform::URLSessionDataTask> dataTaskWithRequest(const platform::URLRequest&,
                                                                      platform::DataTaskCompletion) override {
      return nullptr;
    }
  };
  HTTPClient client(std::make_shared<NoTaskSession>());
  std::vector<SendResult> results;
  client.send(request_, [&](SendResult result) { results.push_back(std::move(result)); });
  ASSERT_EQ(results.size(), 1u);
  ASSERT_NE(results[0].retryPolicyException(), nullptr);
  EXPECT_EQ(results[0].retryPolicyException()->policy, RetryPolicy::retry);
}

}  // namespace
}  // namespace obx
