// Forms as the store receives them: a marked form on the top screen, its controls found by the
// once-a-second scan, used through the platform layer, and the "form-meta", "form-view" and
// "field-view" records the RUM core writes when the screen ends.
#include "rum/rum_form_handle.h"

#include <gtest/gtest.h>

#include "obx/view_properties.h"
#include "platform/ui/button.h"
#include "platform/ui/search_bar.h"
#include "platform/ui/switch_control.h"
#include "platform/ui/text_field.h"
#include "platform/ui/text_view.h"
#include "platform/ui/view_controller.h"
#include "rum_capture_fixture.h"

namespace obx {
namespace {

using platform::Rect;

class RUMFormTest : public testing::RUMCaptureTest {
 protected:
  void SetUp() override {
    RUMCaptureTest::SetUp();
    controller_ = std::make_shared<platform::ViewController>();
    window_->setRootViewController(controller_);
    form_ = std::make_shared<platform::View>(Rect::make(0, 0, 390, 600));
    setObxFormTrack(*form_, true);
    controller_->view()->addSubview(form_);
  }
  template <typename T, typename... Args>
  std::shared_ptr<T> add(Args&&... args) {
    auto view = std::make_shared<T>(std::forward<Args>(args)...);
    form_->addSubview(view);
    return view;
  }
  // "type:selector:title" of each field of the screen's one "form-meta".
  std::vector<std::string> fieldList(const BatchContext& batch) {
    std::vector<std::string> list;
    std::vector<Json> metas = payloads(batch, "form-meta");
    EXPECT_EQ(metas.size(), 1u);
    if (metas.empty()) return list;
    for (const Json& field : metas[0]["e"]) {
      list.push_back(field["t"].get<std::string>() + ":" + field["s"].get<std::string>() + ":" +
                     field["ti"].get<std::string>());
    }
    return list;
  }

  std::shared_ptr<platform::ViewController> controller_;
  std::shared_ptr<platform::View> form_;
};

// Each scan lists the controls it hasn't named: one added after the first scan, and a hidden one
// once it is shown; an application's tag is kept as selector and title, and a search bar's own
// field is left out. Views outside the marked form's subtree aren't listed.
TEST_F(RUMFormTest, LaterScansListAddedAndShownControls) {
  auto email = add<platform::TextField>(Rect::make(0, 0, 300, 40));
  setObxStringTag(*email, std::string("email"));
  auto search = add<platform::SearchBar>(Rect::make(0, 50, 300, 40));
  search->addSubview(std::make_shared<platform::TextField>(Rect::make(0, 0, 300, 40)));
  controller_->view()->addSubview(std::make_shared<platform::Button>(Rect::make(0, 700, 80, 40), "Help"));
  makeCore();
  BatchContext batch = showScreen("Checkout");
  scheduler_->advance(1.0);  // first scan

  auto pay = add<platform::Button>(Rect::make(0, 100, 80, 40), "Pay");
  auto terms = add<platform::Switch>();
  terms->setHidden(true);
  scheduler_->advance(1.0);
  EXPECT_EQ(obxStringTag(*pay), std::optional<std::string>("button1"));
  EXPECT_EQ(obxStringTag(*terms), std::nullopt);

  terms->setHidden(false);
  scheduler_->advance(1.0);
  EXPECT_EQ(obxStringTag(*terms), std::optional<std::string>("checkbox2"));
  scheduler_->advance(3.0);  // further scans add nothing
  showScreen("Next");

  EXPECT_EQ(fieldList(batch), (std::vector<std::string>{"text:email:email", "button:button1:button1",
                                                        "checkbox:checkbox2:checkbox2"}));
  Json meta = payloads(batch, "form-meta")[0];
  EXPECT_EQ(meta["h"], "Checkout");
  EXPECT_EQ(meta["n"], "form-for-Checkout");
  EXPECT_EQ(meta["s"], "form-for-Checkout");
  EXPECT_EQ(meta["ht"], "1");
  EXPECT_EQ(meta["i"], 1);
  EXPECT_EQ(meta["cs"], 0);
  std::vector<std::string> order = types(batch);
  EXPECT_EQ(std::vector<std::string>(order.end() - 4, order.end()),
            (std::vector<std::string>{"samplingStatus", "form-meta", "aE", "bE"}));
}

// Typing into a field and clearing it gives one entry completed and changed, for a text field and
// a text view alike; every change adds its whole time since the focus to the time interacting.
TEST_F(RUMFormTest, TypingThenClearingGivesCompletedAndChanged) {
  // Focus, type, delete and leave, for either kind of text input.
  auto stepsOf = []<typename Input>(std::shared_ptr<Input> input) {
    return std::function<void(int)>([input](int step) {
      if (step == 0) input->becomeFirstResponder();
      if (step == 1) input->insertText("a");
      if (step == 2) input->deleteBackward();
      if (step == 3) input->resignFirstResponder();
    });
  };
  struct Case {
    const char* kind;
    std::shared_ptr<platform::View> view;
    std::function<void(int)> step;  // 0 focus, 1 type, 2 delete, 3 leave
  };
  auto field = std::make_shared<platform::TextField>(Rect::make(0, 0, 300, 40));
  auto text = std::make_shared<platform::TextView>(Rect::make(0, 0, 300, 200));
  const std::vector<Case> cases = {{"text", field, stepsOf(field)}, {"textarea", text, stepsOf(text)}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.kind);
    form_->addSubview(c.view);
    makeCore();
    BatchContext batch = showScreen("Checkout");
    scheduler_->advance(1.0);  // scan names it
    c.step(0);
    scheduler_->advance(0.5);
    c.step(1);  // 500 ms after focus
    scheduler_->advance(0.5);
    c.step(2);  // 1000 ms after focus, text empty
    scheduler_->runUntilIdle();
    c.step(3);
    scheduler_->advance(1.25);
    showScreen("Next");

    std::vector<Json> fields = payloads(batch, "field-view");
    ASSERT_EQ(fields.size(), 1u);
    EXPECT_EQ(fields[0]["s"], std::string(c.kind) + "0");
    EXPECT_EQ(fields[0]["fh"], "Checkout");
    EXPECT_EQ(fields[0]["co"], 1);
    EXPECT_EQ(fields[0]["ch"], 1);
    EXPECT_EQ(fields[0]["in"], 1);
    EXPECT_EQ(fields[0]["de"], 500);
    EXPECT_EQ(fields[0]["ti"], 500 + 1000 + 1000);
    EXPECT_EQ(fields[0]["offset"], 2000);
    EXPECT_FALSE(fields[0].contains("er"));
    EXPECT_FALSE(fields[0].contains("erStr"));
    form_->subviews().front()->removeFromSuperview();
    core_.reset();
    scheduler_->runUntilIdle();
  }
}

// A button pressed twice keeps one entry, with the offset of the second press; a switch is
// reported through the same action.
TEST_F(RUMFormTest, ButtonPressedTwiceKeepsOneEntryWithTheSecondOffset) {
  auto pay = add<platform::Button>(Rect::make(0, 0, 80, 40), "Pay");
  auto terms = add<platform::Switch>();
  makeCore();
  BatchContext batch = showScreen("Checkout");
  scheduler_->advance(1.25);
  pay->tap();
  scheduler_->advance(2.5);
  pay->tap();
  terms->tap();
  scheduler_->advance(0.5);
  showScreen("Next");

  std::vector<Json> fields = payloads(batch, "field-view");
  ASSERT_EQ(fields.size(), 2u);
  for (const Json& field : fields) {
    SCOPED_TRACE(field.dump());
    EXPECT_EQ(field["offset"], 3000);
    EXPECT_EQ(field["co"], 1);
    EXPECT_EQ(field["in"], 1);
    EXPECT_EQ(field["ch"], 1);
    EXPECT_EQ(field["ti"], 0);
    EXPECT_EQ(field["de"], 0);
  }
  // The walk takes the last subview first, so the switch is counted before the button.
  EXPECT_EQ(fields[0]["s"], "button1");
  EXPECT_EQ(fields[1]["s"], "checkbox0");
}

// The application's results: a field error without a view gives a failed "form-view" and no
// "field-view"; with a view, a "field-view" carrying the error text; a success gives a submitted
// "form-view". Views come first, then field entries, then field errors.
TEST_F(RUMFormTest, FieldErrorWithoutViewGivesFormViewOnly) {
  auto card = add<platform::TextField>(Rect::make(0, 0, 300, 40));
  makeCore();
  BatchContext batch = showScreen("Checkout");
  scheduler_->advance(1.5);
  trackedEvents_->formError("Card declined", std::nullopt);
  scheduler_->runUntilIdle();

  BatchContext second = showScreen("Payment");
  scheduler_->advance(1.0);
  scheduler_->advance(1.0);
  trackedEvents_->formError("Card declined", obxStringTag(*card));
  trackedEvents_->formSuccess();
  scheduler_->runUntilIdle();
  showScreen("Done");

  std::vector<Json> views = payloads(batch, "form-view");
  ASSERT_EQ(views.size(), 1u);
  EXPECT_EQ(views[0], (Json{{"offset", 1000}, {"h", "Checkout"}, {"er", 1}}));
  EXPECT_TRUE(payloads(batch, "field-view").empty());

  std::vector<Json> secondViews = payloads(second, "form-view");
  ASSERT_EQ(secondViews.size(), 2u);
  EXPECT_EQ(secondViews[0], (Json{{"offset", 2000}, {"h", "Payment"}, {"er", 1}}));
  EXPECT_EQ(secondViews[1], (Json{{"su", 1}, {"offset", 2000}, {"h", "Payment"}, {"igEr", 1}}));
  std::vector<Json> errors = payloads(second, "field-view");
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0], (Json{{"offset", 2000}, {"fh", "Payment"}, {"s", "text0"}, {"erStr", "Card declined"}, {"er", 1}}));
}

// A screen without a marked form runs no scan and writes no form event; what the user and the
// application did there (a tagged field typed into, a success) isn't carried into the next screen,
// whose form, marked once that screen is on show, is scanned from then on.
TEST_F(RUMFormTest, ScreenWithoutFormCostsNothingAndLeaksNothing) {
  setObxFormTrack(*form_, false);
  auto pay = add<platform::Button>(Rect::make(0, 0, 80, 40), "Pay");
  auto search = std::make_shared<platform::TextField>(Rect::make(0, 700, 300, 40));
  setObxStringTag(*search, std::string("search"));
  controller_->view()->addSubview(search);
  makeCore();
  BatchContext home = showScreen("Home");
  scheduler_->advance(2.0);
  EXPECT_EQ(scheduler_->pendingTimers(), 0u);
  search->becomeFirstResponder();
  search->insertText("a");
  search->resignFirstResponder();
  trackedEvents_->formSuccess();
  scheduler_->advance(1.0);

  BatchContext checkout = showScreen("Checkout");
  scheduler_->advance(0.5);
  setObxFormTrack(*form_, true);
  scheduler_->advance(1.0);
  pay->tap();
  scheduler_->advance(1.0);
  showScreen("Next");

  for (const std::string& type : types(home)) EXPECT_EQ(type.find("form-"), std::string::npos) << type;
  EXPECT_EQ(fieldList(checkout), std::vector<std::string>{"button:button0:button0"});
  EXPECT_TRUE(payloads(checkout, "form-view").empty());
  std::vector<Json> fields = payloads(checkout, "field-view");
  ASSERT_EQ(fields.size(), 1u);
  EXPECT_EQ(fields[0]["s"], "button0");
}

}  // namespace
}  // namespace obx
