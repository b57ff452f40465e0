#include "upload/uploader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/dispatch/manual_scheduler.h"
#include "testing/fake_url_session.h"
#include "testing/manual_producers.h"

namespace obx {
namespace {

using testing::FakeURLSession;
using testing::ManualReachability;
using Outcome = FakeURLSession::Outcome;

class UploaderTest : public ::testing::Test {
 protected:
  UploaderTest() {
    configuration_->editCommon([](Common& common) {
      common.retryingTimes = 2;
      common.retryingDelay = 1.5;
    });
  }

  std::vector<SendResult> upload(std::vector<platform::URLRequest> requests) {
    std::vector<SendResult> results;
    uploader_.upload(std::move(requests), [&results](SendResult result) { results.push_back(std::move(result)); });
    scheduler_->runUntilIdle();
    return results;
  }

  static platform::URLRequest post(const std::string& asset) {
    platform::URLRequest request(*platform::URL::fromString("https://collect.example.test/asset/?asset=" + asset));
    request.httpMethod = "POST";
    return request;
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::shared_ptr<platform::DispatchQueue> delegateQueue_ =
      platform::DispatchQueue::makeSerial(scheduler_, "session-delegate");
  std::shared_ptr<FakeURLSession> session_ = std::make_shared<FakeURLSession>(delegateQueue_);
  std::shared_ptr<SDKConfiguration> configuration_ = std::make_shared<SDKConfiguration>(
      Configuration("account", "property", Consent::analyticsAndRecording, false, true, false, false, false),
      Platform{}, scheduler_);
  std::shared_ptr<UploadAuthorized> authorizer_ = std::make_shared<UploadAuthorized>();
  std::shared_ptr<HTTPRetrying> retrying_ =
      std::make_shared<HTTPRetrying>(std::make_shared<HTTPClient>(session_),
                                     std::make_shared<ManualReachability>(scheduler_, ReachabilityConnection::wifi), scheduler_);
  Uploader uploader_{authorizer_, retrying_, configuration_};
};

// An upload while not authorized sends nothing and ends with "Unauthorized upload!".
TEST_F(UploaderTest, UnauthorizedSendsNothing) {
  for (Authorization status : {Authorization::undefined, Authorization::unauthorized}) {
    authorizer_->status = status;
    auto results = upload({post("A.zip")});
    ASSERT_EQ(results.size(), 1u);
    ASSERT_TRUE(results[0].error && std::holds_alternative<UnauthorizedUploadException>(*results[0].error));
    EXPECT_EQ(description(*results[0].error), "Unauthorized upload!");
  }
  EXPECT_EQ(session_->sendCount(), 0u);
}

// No request at all ends with the FileError of that case.
TEST_F(UploaderTest, NoRequestIsAFileError) {
  auto results = upload({});
  ASSERT_EQ(results.size(), 1u);
  ASSERT_TRUE(results[0].error && std::holds_alternative<FileError>(*results[0].error));
  EXPECT_EQ(description(*results[0].error), "Error creating requests. There is no request successfully created.");
}

// Requests go one at a time: the second leaves only once the first has succeeded, after its retry.
TEST_F(UploaderTest, RequestsGoOneAfterAnother) {
  session_->enqueue(Outcome::status(503));
  session_->enqueue(Outcome::status(200));
  session_->enqueue(Outcome::status(200, {'d', 'o', 'n', 'e'}));
  std::vector<SendResult> results;
  uploader_.upload({post("A.zip"), post("B.zip")}, [&](SendResult result) { results.push_back(std::move(result)); });
  scheduler_->runUntilIdle();
  EXPECT_EQ(session_->sendCount(), 1u);
  scheduler_->advance(1.5);
  ASSERT_EQ(session_->sendCount(), 3u);
  const auto sent = session_->sentRequests();
  EXPECT_NE(sent[1].url.absoluteString().find("A.zip"), std::string::npos);
  EXPECT_NE(sent[2].url.absoluteString().find("B.zip"), std::string::npos);
  ASSERT_EQ(results.size(), 1u);
  ASSERT_TRUE(results[0].isSuccess());
  EXPECT_EQ(*results[0].data, (platform::Data{'d', 'o', 'n', 'e'}));
}

// The first failing request ends the upload; the ones after it never go out.
TEST_F(UploaderTest, FirstFailureEndsTheUpload) {
  session_->enqueue(Outcome::status(413));
  auto results = upload({post("A.zip"), post("B.zip")});
  EXPECT_EQ(session_->sendCount(), 1u);
  ASSERT_EQ(results.size(), 1u);
  ASSERT_NE(results[0].retryPolicyException(), nullptr);
  EXPECT_EQ(results[0].retryPolicyException()->policy, RetryPolicy::drop);
}

// Tries and delay come from the configuration: with 2 tries 1.5 s apart, a failing service gets
// two sends and then `stop`; resetCounter() opens the next pass.
TEST_F(UploaderTest, UsesConfiguredTriesAndDelay) {
  session_->setFallback(Outcome::status(504));
  std::vector<SendResult> results;
  uploader_.upload({post("A.zip")}, [&](SendResult result) { results.push_back(std::move(result)); });
  scheduler_->runUntilIdle();
  scheduler_->advance(1.4);
  EXPECT_EQ(session_->sendCount(), 1u);
  scheduler_->advance(0.1);
  EXPECT_EQ(session_->sendCount(), 2u);
  scheduler_->advance(1.5);
  ASSERT_EQ(results.size(), 1u);
  EXPECT_EQ(results[0].retryPolicyException()->policy, RetryPolicy::stop);

  session_->setFallback(Outcome::status(200));
  EXPECT_EQ(upload({post("B.zip")}).at(0).retryPolicyException()->policy, RetryPolicy::stop);
  uploader_.resetCounter();
  EXPECT_TRUE(upload({post("B.zip")}).at(0).isSuccess());
  EXPECT_EQ(session_->sendCount(), 3u);
}

}  // namespace
}  // namespace obx
