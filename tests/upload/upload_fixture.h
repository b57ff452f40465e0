// Writes screens into a real spool the way the analytics core does: a batch folder per batch with
// its encrypted event file and its images, dated by the scheduler's clock.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "lifecycle/batch_context.h"
#include "store/data_controller.h"

namespace obx::upload_testing {

// The raw identifiers of a session as the session's event stores them.
inline constexpr const char* kRawSessionID = "0F8FAD5B-D9CB-469F-A165-70867728950E42";
inline constexpr const char* kRawLeadID = "7C9E6679742540DE944BE07FC1F90AE717";

class ScreenWriter {
 public:
  explicit ScreenWriter(std::shared_ptr<DataController> controller) : controller_(std::move(controller)) {}

  static BatchContext batch(const std::string& batchID, platform::Date dateScreen) {
    BatchContext context;
    context.id = batchID;
    context.viewContext.screenID = batchID.substr(0, batchID.find('_'));
    context.viewContext.dateScreen = dateScreen;
    return context;
  }

  // One batch of a screen: session, batch, screen, `goals` goals, an application end when asked,
  // the batch end, and `images` images. Written now, dated `date`.
  void write(const std::string& batchID, platform::Date date, int goals = 2, int images = 0,
             bool applicationEnd = false) {
    const auto context = batch(batchID, date);
    const std::string screenID = context.viewContext.screenID;
    controller_->saveEventNow(EventType::session, date, Session{kRawSessionID, kRawLeadID}, context);
    controller_->saveEventNow(EventType::batch, date, Batch{screenID, date}, context);
    controller_->saveEventNow(EventType::screen, date + 0.01, Screen{"Screen " + screenID, 1, 0, "portrait"}, context);
    for (int index = 0; index < goals; ++index) {
      controller_->saveEventNow(EventType::goal, date + 0.1 * (index + 1), Goal{"goal-" + std::to_string(index), "EUR", 1.5f},
                                context);
    }
    if (applicationEnd) controller_->saveEventNow(EventType::applicationEnd, date + 0.8, std::string(), context);
    controller_->saveEventNow(EventType::batchEnd, date + 1.0, batchID, context);
    for (int index = 0; index < images; ++index) {
      controller_->saveEventNow(EventType::image, date + 0.2 * index,
                                ImageEvent{index, "frame-" + std::to_string(index), 390, 844,
                                           static_cast<std::int64_t>(date * 1000)},
                                context);
      controller_->saveImage(Image{index, "jpeg bytes " + std::to_string(index), 1000}, context);
    }
  }

 private:
  std::shared_ptr<DataController> controller_;
};

}  // namespace obx::upload_testing
