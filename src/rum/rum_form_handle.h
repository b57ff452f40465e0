// RUMFormHandle: how the user fills in the screen's form. A view marked with obxFormTrack is the
// form; once a second a display link walks the top screen's views, names each control found in it
// (its obxStringTag, or its kind and a count) and connects it: buttons, switches, sliders, date
// pickers and segmented controls through target-actions, text fields and text views through the
// toolkit's editing notifications. Each interaction stores one `FieldView` per field, with its
// times; the application's results add `FormView`s. At the end of the screen `finish` hands back
// "formMeta", the "formView"s and the "fieldView"s, provided the form had controls, and forgets
// all of the screen's records: each screen's records are its own.
//
// The scan only runs while a marked view lives, and walks the views only while one is on the top
// screen: a screen without a form costs no tick at all. A view marked later starts the scan.
//
// Threads: `start`, the scan and the control and notification handlers run on the main queue;
// `finish` and `formResult` on the core's queue. The lists are behind read-write locks; the edit in
// progress and the first-scan flag are touched on the main queue only.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/read_write_lock.h"
#include "platform/dispatch/display_link.h"
#include "platform/dispatch/scheduler.h"
#include "platform/runtime/object.h"
#include "platform/ui/notification_center.h"
#include "rum/field_type.h"
#include "rum/rum_form_handling.h"

namespace obx::platform {
class View;
}

namespace obx {

class RUMFormHandle final : public platform::Object, public RUMFormHandling {
 public:
  // Registers for the text editing notifications of `notificationCenter`; dates come from
  // `scheduler`'s clock and the display link ticks on its main queue.
  static std::shared_ptr<RUMFormHandle> make(std::shared_ptr<platform::Scheduler> scheduler,
                                             std::shared_ptr<platform::NotificationCenter> notificationCenter);
  RUMFormHandle(std::shared_ptr<platform::Scheduler> scheduler,
                std::shared_ptr<platform::NotificationCenter> notificationCenter);
  ~RUMFormHandle() override;

  // A new screen, on the main queue: forgets every record and starts the scan if a form may show.
  void start(const ViewContext& viewContext) override;
  // The end of the screen, on the core's queue: stops the scan, and returns the form events and
  // forgets them.
  std::vector<TrackedEvent> finish();
  std::vector<TrackedEvent> takeFormEvents() override { return finish(); }
  void handle(const FormSuccess& result) override { formResult(result.success, result.selector, result.error); }
  // An application's submission (`success`) or failure, with the field at fault when known.
  void formResult(bool success, const std::optional<std::string>& selector, const std::optional<std::string>& error);

  // One walk of the top screen's views; the display link's target. Main queue.
  void scanElements();

  // Control actions, sent by the controls with themselves as sender. Main queue.
  void buttonWasClickedWithSender(platform::Object* sender);
  void sliderWasClickedWithSender(platform::Object* sender);
  void datePickerWasClickedWithSender(platform::Object* sender);
  void segmentedWasClickedWithSender(platform::Object* sender);
  void pickerWasClickedWithSender(platform::Object* sender);

  // The controls found on this screen so far.
  std::vector<FieldList> formFields() const { return formFields_.get(); }

 private:
  struct FieldInfo {
    std::optional<std::string> selector;
    std::optional<std::string> initialValue;
    double focusStart = 0;
    double editStart = 0;
  };
  struct Screen {
    std::optional<ViewContext> viewContext;
    std::optional<double> startTimeStamp;
  };
  enum class Editing { begin, change, end };

  void registerNotifications();
  // Starts the once-a-second scan in place of any running one. Main queue.
  void startScan();
  void stopScan();
  void addField(platform::View& view, FieldType type);
  void connect(platform::View& view, FieldType type);
  void textFieldDidChange(const platform::Notification& notification);
  void textViewDidChange(const platform::Notification& notification);
  void textEdited(Editing editing, const std::string& tag, const std::string& text);
  void beginField(const std::string& text, const std::string& tag);
  void controlUsed(platform::Object* sender);
  void recordField(const std::optional<std::string>& selector, bool completed, bool interacted, bool changed,
                   double time, double delay);
  std::int64_t offset(const Screen& screen) const;
  double nowMilliseconds() const;

  std::shared_ptr<platform::Scheduler> scheduler_;
  std::shared_ptr<platform::NotificationCenter> notificationCenter_;
  std::vector<platform::NotificationCenter::Token> tokens_;
  FieldInfo currentFieldInfo_;
  bool firstExecution_ = true;
  ReadWriteLock<Screen> screen_;
  ReadWriteLock<std::shared_ptr<platform::DisplayLink>> displayLink_;
  ReadWriteLock<std::vector<FieldList>> formFields_;
  ReadWriteLock<std::map<std::string, FieldView>> fieldViews_;
  ReadWriteLock<std::vector<FieldView>> fieldViewsErrors_;
  ReadWriteLock<std::vector<FormView>> formCompleteData_;
};

}  // namespace obx
