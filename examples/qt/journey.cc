#include "journey.h"

#include <QApplication>
#include <QScrollBar>
#include <QTabBar>
#include <QTest>
#include <QWheelEvent>

namespace shop {

namespace {

void pause(double seconds) { QTest::qWait(static_cast<int>(seconds * 1000)); }

void tap(QWidget* widget) { QTest::mouseClick(widget, Qt::LeftButton, {}, widget->rect().center()); }

// A radio button or check box is taken by its box, at its left.
void tick(QWidget* widget) { QTest::mouseClick(widget, Qt::LeftButton, {}, QPoint(8, widget->height() / 2)); }

void type(QWidget* field, const char* text) {
  tap(field);
  QTest::keyClicks(field, QString::fromUtf8(text), Qt::NoModifier, 40);
}

// One notch of the mouse wheel over a widget, downwards.
void wheel(QWidget* widget) {
  const QPointF at = widget->rect().center();
  QWheelEvent event(at, widget->mapToGlobal(at), QPoint(), QPoint(0, -120), Qt::NoButton, Qt::NoModifier,
                    Qt::NoScrollPhase, false);
  QApplication::sendEvent(widget, &event);
}

}  // namespace

void runJourney(ShopWindow& window) {
  pause(1.5);
  type(window.email, "ada@example.com");
  pause(0.5);
  type(window.password, kPassword);
  pause(1.0);
  tap(window.signIn);

  // The product list: look, scroll down by the wheel, add two things, scroll back.
  pause(1.5);
  for (int i = 0; i < 4; ++i) {
    wheel(window.products->viewport());
    pause(0.15);
  }
  pause(1.0);
  tap(window.addButtons[5]);
  pause(0.4);
  tap(window.addButtons[6]);
  pause(0.6);
  for (int i = 0; i < 4; ++i) {
    wheel(window.products->viewport());
    pause(0.15);
  }
  pause(0.8);
  tap(window.addButtons[1]);
  pause(0.8);

  // The basket tab, then the checkout form.
  QTabBar* bar = window.tabs->tabBar();
  QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(1).center());
  pause(1.5);
  tap(window.toCheckout);
  pause(1.0);
  type(window.name, "Ada Lovelace");
  pause(0.5);
  type(window.card, kCardNumber);
  pause(0.5);
  // Tab to the country and pick the next one with the arrow key.
  QTest::keyClick(window.card, Qt::Key_Tab);
  QTest::keyClick(window.country, Qt::Key_Down);
  pause(0.5);
  tick(window.express);
  pause(0.3);
  tick(window.saveCard);
  pause(0.8);
  tap(window.pay);

  // The confirmation, modal over the window.
  pause(1.5);
  tap(window.confirmationOK);
  pause(1.5);
}

}  // namespace shop
