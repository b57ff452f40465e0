#include "journey.h"

#include <QApplication>
#include <QScrollBar>
#include <QTabBar>
#include <QTest>
#include <QWheelEvent>

namespace shop {

namespace {

void pause(double seconds) { QTest::qWait(static_cast<int>(seconds * 1000)); }

// Each step below is one gesture, then a person's look at what it did for `then` seconds.
void tap(QWidget* widget, double then) {
  QTest::mouseClick(widget, Qt::LeftButton, {}, widget->rect().center());
  pause(then);
}

// A radio button or check box is taken by its box, at its left.
void tick(QWidget* widget, double then) {
  QTest::mouseClick(widget, Qt::LeftButton, {}, QPoint(8, widget->height() / 2));
  pause(then);
}

void type(QWidget* field, const char* text, double then) {
  tap(field, 0);
  QTest::keyClicks(field, QString::fromUtf8(text), Qt::NoModifier, 40);
  pause(then);
}

// Four notches of the mouse wheel over a widget, downwards, a moment apart.
void scroll(QWidget* widget, double then) {
  const QPointF at = widget->rect().center();
  for (int i = 0; i < 4; ++i) {
    QWheelEvent event(at, widget->mapToGlobal(at), QPoint(), QPoint(0, -120), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(widget, &event);
    pause(0.15);
  }
  pause(then);
}

}  // namespace

void runJourney(ShopWindow& window) {
  pause(1.5);
  type(window.email, "shopper@example.com", 0.5);
  type(window.password, kPassword, 1.0);
  tap(window.signIn, 1.5);

  // The product list: look, scroll down by the wheel, add two things, scroll on, add a third.
  scroll(window.products->viewport(), 1.0);
  tap(window.addButtons[5], 0.4);
  tap(window.addButtons[6], 0.6);
  scroll(window.products->viewport(), 0.8);
  tap(window.addButtons[1], 0.8);

  // The basket tab, then the checkout form.
  QTabBar* bar = window.tabs->tabBar();
  QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(1).center());
  pause(1.5);
  tap(window.toCheckout, 1.0);
  type(window.name, "Sam Shopper", 0.5);
  type(window.card, kCardNumber, 0.5);
  // Tab to the country and pick the next one with the arrow key.
  QTest::keyClick(window.card, Qt::Key_Tab);
  QTest::keyClick(window.country, Qt::Key_Down);
  pause(0.5);
  tick(window.express, 0.3);
  tick(window.saveCard, 0.8);
  tap(window.pay, 1.5);

  // The confirmation, modal over the window.
  tap(window.confirmationOK, 1.5);
}

}  // namespace shop
