#include "checkout.h"

#include <cstdio>
#include <memory>
#include <string>

#include "obx/facade.h"
#include "obx/view_properties.h"
#include "platform/ui/button.h"
#include "platform/ui/switch_control.h"
#include "platform/ui/text_field.h"

namespace demo {

class CheckoutScreen : public obx::platform::ViewController {};

namespace {

void type(obx::platform::TextField& field, const std::string& text, const std::function<void(double)>& run) {
  field.becomeFirstResponder();
  run(0.3);
  for (char c : text) field.insertText(std::string(1, c));
  run(0.5);
  field.resignFirstResponder();
}

}  // namespace

void fillInCheckout(obx::platform::NavigationController& navigation, const std::function<void(double)>& run) {
  using obx::platform::Rect;
  auto screen = std::make_shared<CheckoutScreen>();
  obx::setObxScreenName(*screen, "Checkout");
  auto form = std::make_shared<obx::platform::View>(Rect::make(0, 100, 390, 400));
  obx::setObxFormTrack(*form, true);
  auto name = std::make_shared<obx::platform::TextField>(Rect::make(16, 0, 358, 44));
  name->setPlaceholder("Name on card");
  obx::setObxStringTag(*name, std::string("card-name"));
  auto card = std::make_shared<obx::platform::TextField>(Rect::make(16, 60, 358, 44));
  card->setPlaceholder("Card number");
  obx::setObxStringTag(*card, std::string("card-number"));
  auto terms = std::make_shared<obx::platform::Switch>(Rect::make(16, 120, 51, 31));
  auto pay = std::make_shared<obx::platform::Button>(Rect::make(16, 180, 358, 48), "Pay");
  for (const auto& view : {std::static_pointer_cast<obx::platform::View>(name), std::static_pointer_cast<obx::platform::View>(card),
                           std::static_pointer_cast<obx::platform::View>(terms), std::static_pointer_cast<obx::platform::View>(pay)}) {
    form->addSubview(view);
  }
  screen->view()->addSubview(form);
  navigation.pushViewController(screen, true);
  run(1.2);  // the SDK's scan finds the form's four controls

  type(*name, "Ada Lovelace", run);
  type(*card, "4000 0000 0000 0002", run);
  terms->tap();
  pay->tap();
  obx::OBX::formError("Card declined", card.get());
  run(1.0);
  card->becomeFirstResponder();
  while (!card->text().empty()) card->deleteBackward();
  type(*card, "4242 4242 4242 4242", run);
  pay->tap();
  obx::OBX::formSuccess();
  run(1.0);
  std::printf("obx-demo: filled in the checkout form, declined once on the card number, then paid\n");
  navigation.popViewController(true);
  run(1.0);
}

}  // namespace demo
