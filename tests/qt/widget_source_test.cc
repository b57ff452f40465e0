#include "qt/widget_source.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QTabWidget>
#include <QTest>
#include <QVBoxLayout>
#include <algorithm>

#include "obx/view_properties.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/runtime/runtime.h"
#include "platform/ui/application.h"
#include "platform/ui/event.h"
#include "platform/ui/label.h"
#include "platform/ui/notification_names.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/tab_bar_controller.h"
#include "platform/ui/text_field.h"
#include "platform/ui/touch.h"
#include "qt/input_bridge.h"
#include "qt/mirror_windows.h"
#include "platform/send_event_recorder.h"

namespace obx::qt {
namespace {

using platform::Rect;

// The name of the screen the key window shows, by the rule screen detection follows: the root
// controller, the selected page of a tab bar controller.
std::string keyScreenName() {
  auto window = platform::Application::shared()->keyWindow();
  if (!window || !window->rootViewController()) return "";
  auto controller = window->rootViewController();
  if (controller->isKindOfClass(platform::TabBarController::runtimeClass())) {
    controller = std::static_pointer_cast<platform::TabBarController>(controller)->selectedViewController();
  }
  return controller ? obxScreenName(*controller).value_or("") : "";
}

// A view's frame in its window's coordinates.
Rect inWindow(const std::shared_ptr<platform::View>& view) {
  return view->superview()->convertRectToView(view->frame(), nullptr);
}

bool inTree(const platform::View& root, const platform::View* view) {
  if (&root == view) return true;
  for (const auto& subview : root.subviews()) {
    if (inTree(*subview, view)) return true;
  }
  return false;
}

// How many of a touch's recognisers belong to scroll views.
std::size_t scrollRecognizers(const testing::SendEventRecorder::Seen& touch) {
  return static_cast<std::size_t>(std::count_if(touch.recognizers.begin(), touch.recognizers.end(), [](const auto& r) {
    auto view = r->view();
    return view && view->isKindOfClass(platform::ScrollView::runtimeClass());
  }));
}

class WidgetSourceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    application_ = platform::Application::resetShared(scheduler_);
    windows_ = std::make_unique<MirrorWindows>(application_);
    source_ = std::make_unique<WidgetSource>(*windows_);
    source_->start();
  }
  void TearDown() override {
    source_.reset();
    windows_.reset();
    scheduler_->runUntilIdle();
  }
  // Lets Qt deliver what is queued, the mirror's flush among it, and the SDK's main queue run.
  void settle() {
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
    scheduler_->runUntilIdle();
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::shared_ptr<platform::Application> application_;
  std::unique_ptr<MirrorWindows> windows_;
  std::unique_ptr<WidgetSource> source_;
};

// The mirror follows a window's widgets through show, move, hide, reparent and delete, in window
// coordinates, and a password's characters never enter it.
TEST_F(WidgetSourceTest, MirrorFollowsTheWidgets) {
  QWidget window;
  window.resize(400, 300);
  auto* title = new QLabel("Total", &window);
  title->setGeometry(10, 20, 120, 30);
  auto* panel = new QWidget(&window);
  panel->setGeometry(50, 100, 300, 150);
  auto* inner = new QLabel("Inner", panel);
  inner->setGeometry(5, 6, 80, 20);
  auto* password = new QLineEdit(panel);
  password->setEchoMode(QLineEdit::Password);
  password->setGeometry(5, 40, 200, 30);
  password->setText("Tr0ub4dor&3");
  window.show();
  settle();

  auto platformWindow = source_->windowOf(&window);
  ASSERT_TRUE(platformWindow);
  EXPECT_EQ(application_->keyWindow(), platformWindow);
  EXPECT_EQ(application_->mainScreen()->bounds(), Rect::make(0, 0, 400, 300));
  auto titleView = source_->viewOf(title);
  ASSERT_TRUE(titleView && titleView->isKindOfClass(platform::Label::runtimeClass()));
  EXPECT_EQ(static_cast<platform::Label&>(*titleView).text(), "Total");
  EXPECT_EQ(inWindow(titleView), Rect::make(10, 20, 120, 30));
  EXPECT_EQ(inWindow(source_->viewOf(inner)), Rect::make(55, 106, 80, 20));
  auto field = std::static_pointer_cast<platform::TextField>(source_->viewOf(password));
  ASSERT_TRUE(field);
  EXPECT_TRUE(field->isSecureTextEntry());
  EXPECT_EQ(field->text(), "***********");
  EXPECT_EQ(obxMasking(*field), MaskView::mask);

  title->move(30, 40);
  title->setText("Sum");
  settle();
  EXPECT_EQ(inWindow(titleView), Rect::make(30, 40, 120, 30));
  EXPECT_EQ(static_cast<platform::Label&>(*titleView).text(), "Sum");

  title->hide();
  settle();
  EXPECT_EQ(source_->viewOf(title), nullptr);
  EXPECT_FALSE(inTree(*platformWindow, titleView.get()));

  inner->setParent(&window);
  inner->move(1, 2);
  inner->show();
  settle();
  ASSERT_TRUE(source_->viewOf(inner));
  EXPECT_EQ(inWindow(source_->viewOf(inner)), Rect::make(1, 2, 80, 20));

  // Deleted between its event and the flush: nothing of it is left to touch.
  auto fieldView = source_->viewOf(password);
  password->move(7, 7);
  delete panel;
  settle();
  EXPECT_EQ(source_->viewOf(password), nullptr);
  EXPECT_FALSE(inTree(*platformWindow, fieldView.get()));

  window.hide();
  settle();
  EXPECT_EQ(source_->windowOf(&window), nullptr);
  EXPECT_TRUE(application_->windows().empty());
}

// Screens follow the pages and windows: a tab switch, a stacked page, a modal dialog over its window
// and a second top-level window each make the key screen change, and the names come from the
// property, else the object name, else the class.
TEST_F(WidgetSourceTest, ScreensFollowPagesDialogsAndWindows) {
  QWidget window;
  window.setObjectName("Shop");
  window.resize(400, 300);
  auto* layout = new QVBoxLayout(&window);
  auto* tabs = new QTabWidget;
  auto* catalog = new QWidget;
  catalog->setProperty("obxScreenName", "Catalog");
  auto* basket = new QWidget;
  basket->setObjectName("Basket");
  tabs->addTab(catalog, "Catalog");
  tabs->addTab(basket, "Basket");
  layout->addWidget(tabs);
  window.show();
  settle();
  EXPECT_EQ(keyScreenName(), "Catalog");
  auto catalogView = source_->viewOf(catalog);
  ASSERT_TRUE(catalogView);
  EXPECT_TRUE(obxFormTrack(*catalogView));

  tabs->setCurrentIndex(1);
  settle();
  EXPECT_EQ(keyScreenName(), "Basket");
  // The page's view is where the mirror keeps it, not where the controller put it.
  auto basketView = source_->viewOf(basket);
  ASSERT_TRUE(basketView);
  const QPoint basketOrigin = basket->mapTo(&window, QPoint());
  EXPECT_EQ(inWindow(basketView), Rect::make(basketOrigin.x(), basketOrigin.y(), basket->width(), basket->height()));

  // A page that holds a tab widget stands for its pages.
  QStackedWidget stack;
  stack.resize(300, 200);
  auto* first = new QLabel("one");
  auto* inner = new QTabWidget;
  auto* innerFirst = new QWidget;
  innerFirst->setObjectName("InnerFirst");
  inner->addTab(innerFirst, "first");
  inner->addTab(new QLabel("second"), "second");
  stack.addWidget(first);
  stack.addWidget(inner);
  stack.show();
  settle();
  EXPECT_EQ(keyScreenName(), "QLabel");
  stack.setCurrentIndex(1);
  settle();
  EXPECT_EQ(keyScreenName(), "InnerFirst");
  inner->setCurrentIndex(1);
  settle();
  EXPECT_EQ(keyScreenName(), "QLabel");

  stack.hide();
  settle();
  EXPECT_EQ(keyScreenName(), "Basket");

  QWidget dialog(&window, Qt::Dialog);
  dialog.setWindowModality(Qt::WindowModal);
  dialog.resize(200, 100);
  window.activateWindow();
  dialog.show();
  settle();
  EXPECT_EQ(keyScreenName(), "QWidget");
  EXPECT_EQ(application_->mainScreen()->bounds(), Rect::make(0, 0, 200, 100));
  dialog.hide();
  settle();
  EXPECT_EQ(keyScreenName(), "Basket");
  EXPECT_EQ(application_->mainScreen()->bounds(), Rect::make(0, 0, 400, 300));
}

// Touches land at the widget's place in its window, on its mirrored view, and a touch inside a scroll
// area carries that scroll view's recogniser; item view cells become labels at their places.
TEST_F(WidgetSourceTest, TouchesAndCells) {
  InputBridge input(application_, *source_);
  testing::SendEventRecorder recorder;
  QWidget window;
  window.resize(400, 400);
  auto* button = new QPushButton("Pay", &window);
  button->setGeometry(40, 30, 100, 40);
  auto* list = new QListWidget(&window);
  list->setGeometry(0, 100, 400, 300);
  for (int i = 0; i < 50; ++i) list->addItem(QString("Item %1").arg(i));
  window.show();
  settle();

  QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(10, 5));
  settle();
  ASSERT_EQ(recorder.events.size(), 2u);
  const auto& began = recorder.events[0].at(0);
  EXPECT_EQ(began.phase, platform::TouchPhase::began);
  EXPECT_EQ(recorder.events[1].at(0).phase, platform::TouchPhase::ended);
  EXPECT_EQ(began.location, (platform::Point{50, 35}));
  EXPECT_EQ(began.view, source_->viewOf(button).get());
  EXPECT_EQ(scrollRecognizers(began), 0u);

  auto listView = source_->viewOf(list);
  ASSERT_TRUE(listView);
  std::shared_ptr<platform::View> cell;
  for (const auto& each : listView->subviews()) {
    if (each->isKindOfClass(platform::Label::runtimeClass()) && static_cast<platform::Label&>(*each).text() == "Item 1") {
      cell = each;
    }
  }
  ASSERT_TRUE(cell);
  const QRect itemRect = list->visualItemRect(list->item(1)).translated(list->viewport()->mapTo(&window, QPoint()));
  EXPECT_EQ(inWindow(cell), Rect::make(itemRect.x(), itemRect.y(), itemRect.width(), itemRect.height()));

  recorder.events.clear();
  QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, QPoint(20, 20));
  settle();
  ASSERT_FALSE(recorder.events.empty());
  const QPoint inList = list->viewport()->mapTo(&window, QPoint(20, 20));
  EXPECT_EQ(recorder.events[0].at(0).location, (platform::Point{static_cast<double>(inList.x()), static_cast<double>(inList.y())}));
  EXPECT_EQ(scrollRecognizers(recorder.events[0].at(0)), 1u);
}


// A label's alignment goes across, leading and trailing by the layout direction, and its drawing
// puts the text there: all ink in the left half, across the middle, or in the right half.
TEST_F(WidgetSourceTest, LabelAlignmentGoesAcross) {
  struct Case {
    Qt::Alignment alignment;
    Qt::LayoutDirection direction;
    platform::TextAlignment expected;
  } cases[] = {
      {Qt::AlignLeft | Qt::AlignVCenter, Qt::LeftToRight, platform::TextAlignment::left},
      {Qt::AlignHCenter, Qt::LeftToRight, platform::TextAlignment::center},
      {Qt::AlignCenter, Qt::LeftToRight, platform::TextAlignment::center},
      {Qt::AlignRight | Qt::AlignTop, Qt::LeftToRight, platform::TextAlignment::right},
      {Qt::AlignTrailing, Qt::LeftToRight, platform::TextAlignment::right},
      {Qt::AlignLeading, Qt::RightToLeft, platform::TextAlignment::right},
      {Qt::AlignTrailing, Qt::RightToLeft, platform::TextAlignment::left},
  };
  QWidget window;
  window.resize(400, 100);
  auto* label = new QLabel("Total", &window);
  label->setGeometry(0, 0, 400, 40);
  window.show();
  settle();
  for (const auto& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.alignment) * 10 + static_cast<int>(c.direction));
    label->setLayoutDirection(c.direction);
    label->setAlignment(c.alignment);
    settle();
    auto view = std::static_pointer_cast<platform::Label>(source_->viewOf(label));
    ASSERT_TRUE(view);
    EXPECT_EQ(view->textAlignment(), c.expected);
    auto contents = view->layer()->contents();
    ASSERT_TRUE(contents);
    int first = contents->width(), last = -1;
    for (int y = 0; y < contents->height(); ++y) {
      for (int x = 0; x < contents->width(); ++x) {
        if (contents->pixelAt(x, y).alpha > 64) first = std::min(first, x), last = std::max(last, x);
      }
    }
    ASSERT_GE(last, 0) << "no text drawn";
    const int half = contents->width() / 2;
    EXPECT_EQ(first < half && last < half, c.expected == platform::TextAlignment::left);
    EXPECT_EQ(first < half && last > half, c.expected == platform::TextAlignment::center);
    EXPECT_EQ(first > half && last > half, c.expected == platform::TextAlignment::right);
  }
}

// Typing in a line edit or a text edit posts a change for each key that changed the text; arrows,
// Home and a Backspace with nothing before the cursor post none.
TEST_F(WidgetSourceTest, OnlyKeysThatChangeTheTextPostAChange) {
  InputBridge input(application_, *source_);
  QWidget window;
  window.resize(400, 300);
  auto* line = new QLineEdit(&window);
  line->setGeometry(0, 0, 300, 30);
  auto* text = new QPlainTextEdit(&window);
  text->setGeometry(0, 50, 300, 200);
  window.show();
  settle();
  struct Case {
    QWidget* widget;
    const char* notification;
  } cases[] = {{line, platform::kTextFieldTextDidChangeNotification}, {text, platform::kTextViewTextDidChangeNotification}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.notification);
    int changes = 0;
    auto token = application_->notificationCenter()->addObserver(c.notification, nullptr, [&](const auto&) { ++changes; });
    c.widget->setFocus();
    settle();
    for (Qt::Key key : {Qt::Key_A, Qt::Key_Left, Qt::Key_B, Qt::Key_Home, Qt::Key_Backspace, Qt::Key_Right, Qt::Key_Up,
                        Qt::Key_End, Qt::Key_Backspace}) {
      QTest::keyClick(c.widget, key);
    }
    settle();
    application_->notificationCenter()->removeObserver(token);
    EXPECT_EQ(changes, 3) << "a, b and the last Backspace";
  }
}

}  // namespace
}  // namespace obx::qt
