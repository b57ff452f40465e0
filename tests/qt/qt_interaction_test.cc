// Touches, scrolls and a form of a real Qt window, typed into and clicked with QTest, as they arrive
// at a collector.
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <set>

#include "qt_sdk_fixture.h"

namespace obx::qt {
namespace {

using Json = nlohmann::json;
using QtInteractionTest = QtSDKTest;

void wheelDown(QWidget* widget) {
  const QPointF at = widget->rect().center();
  QWheelEvent event(at, widget->mapToGlobal(at), QPoint(), QPoint(0, -120), Qt::NoButton, Qt::NoModifier,
                    Qt::NoScrollPhase, false);
  QApplication::sendEvent(widget, &event);
}

// A form filled and submitted gives its fields, their edits and the submission; touches land at the
// widgets' places, those in the scroll area with one scroll identifier for both, those outside it with
// none; the wheel's scrolling gives a scroll record.
TEST_F(QtInteractionTest, FormTouchesAndScrolls) {
  startCollector(R"({"replaySessFlags": 3})");
  initialize();
  ASSERT_TRUE(runUntil([&] { return core_->configuration()->common().isLiveConfigFinished; }, 10.0));
  QWidget window;
  window.setObjectName("Checkout");
  window.resize(400, 600);
  auto* name = new QLineEdit(&window);
  name->setObjectName("name");
  name->setGeometry(20, 20, 200, 30);
  auto* save = new QCheckBox("Remember me", &window);
  save->setObjectName("save");
  save->setGeometry(20, 60, 200, 30);
  auto* pay = new QPushButton("Pay", &window);
  pay->setObjectName("pay");
  pay->setProperty("obxFormSubmit", true);
  pay->setGeometry(20, 100, 100, 30);
  auto* list = new QScrollArea(&window);
  // Large enough for scroll focus against the default screen the analytics measured at start.
  list->setGeometry(0, 140, 400, 460);
  auto* content = new QWidget;
  content->resize(380, 1500);
  for (int i = 0; i < 30; ++i) (new QLabel(QString("Row %1").arg(i), content))->setGeometry(10, i * 50, 300, 40);
  list->setWidget(content);
  window.show();
  ASSERT_TRUE(OBXQt::attach());
  // The form's controls are found by a scan once a second from the screen's start.
  run(1.5);

  QTest::mouseClick(name, Qt::LeftButton, {}, QPoint(10, 10));
  QTest::keyClicks(name, "Ada", Qt::NoModifier, 30);
  run(0.3);
  QTest::mouseClick(save, Qt::LeftButton, {}, QPoint(5, 15));
  run(0.3);
  QTest::mouseClick(pay, Qt::LeftButton);
  run(0.3);
  for (int i = 0; i < 3; ++i) {
    wheelDown(list->viewport());
    run(0.1);
  }
  run(0.6);
  QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, QPoint(30, 40));
  run(0.3);
  QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, QPoint(200, 300));
  run(1.2);
  ASSERT_TRUE(sendEverything());

  std::vector<Json> events;
  for (const auto& screen : collector_->screens()) {
    for (const auto& event : screen.body) events.push_back(event);
  }
  std::set<std::string> fields;
  std::set<std::string> changed;
  bool submitted = false;
  bool scrolled = false;
  std::vector<Json> began;
  for (const auto& event : events) {
    const std::string type = event.at("t");
    const Json& data = event.at("d");
    if (type == "form-meta") {
      for (const auto& field : data.at("e")) fields.insert(field.at("s").get<std::string>() + ":" + field.at("t").get<std::string>());
    }
    if (type == "field-view" && data.value("ch", 0) == 1) changed.insert(data.at("s"));
    if (type == "form-view" && data.value("su", 0) == 1) submitted = true;
    if (type == "scroll") scrolled = true;
    if (type == "tB") began.push_back(data.at(0));
  }
  EXPECT_TRUE(fields.count("name:text")) << ::testing::PrintToString(fields);
  EXPECT_TRUE(fields.count("save:checkbox")) << ::testing::PrintToString(fields);
  EXPECT_TRUE(fields.count("pay:button")) << ::testing::PrintToString(fields);
  EXPECT_TRUE(changed.count("name") && changed.count("save") && changed.count("pay")) << ::testing::PrintToString(changed);
  EXPECT_TRUE(submitted);
  EXPECT_TRUE(scrolled);
  ASSERT_EQ(began.size(), 5u);
  EXPECT_EQ(began[0].at("x"), 30);
  EXPECT_EQ(began[0].at("y"), 30);
  EXPECT_FALSE(began[0].contains("sID"));
  ASSERT_TRUE(began[3].contains("sID") && began[4].contains("sID")) << began[3].dump();
  EXPECT_EQ(began[3].at("sID"), began[4].at("sID"));
  const QPoint second = list->viewport()->mapTo(&window, QPoint(200, 300));
  EXPECT_EQ(began[4].at("x"), second.x());
  EXPECT_EQ(began[4].at("y"), second.y());
}

}  // namespace
}  // namespace obx::qt
