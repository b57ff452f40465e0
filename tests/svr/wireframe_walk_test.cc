#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "lifecycle/view_properties.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/ui/application.h"
#include "platform/ui/button.h"
#include "platform/ui/image_view.h"
#include "platform/ui/label.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/switch_control.h"
#include "platform/ui/text_field.h"
#include "platform/ui/visual_effect_view.h"
#include "platform/ui/web_view.h"
#include "platform/ui/window.h"
#include "svr/recording/screen_recording_lofi_mode.h"

namespace obx {
namespace {

using platform::Color;
using platform::Rect;

// A host's player view: known by its class name alone.
class HostPlayerView : public platform::View {
 public:
  using View::View;
};

// A fixed screen holding every outcome of the walk: shown and masked text, inputs, images, a web
// view, a scroll view moved by its offset, a dark effect view, a player, hidden and transparent
// views, translucent parents and views inside rendered content, a clipped and rounded container.
class WireframeWalkTest : public ::testing::Test {
 protected:
  WireframeWalkTest() {
    Common common;
    common.maskingColor = obx::Color{0.5, 0.5, 0.5, 1};
    configuration_->setCommon(common);
    window_->setBackgroundColor(Color{1, 1, 1, 1});
    window_->makeKeyAndVisible();

    auto header = add<platform::View>("header", *window_, Rect::make(0, 0, 390, 100));
    header->setBackgroundColor(Color{0.1, 0.2, 0.3, 1});
    header->setClipsToBounds(true);
    header->layer()->attributes().cornerRadius = 8;
    add<platform::Label>("title", *header, Rect::make(16, 20, 200, 30), "Total");
    setObxMasking(*add<platform::Label>("maskedTitle", *header, Rect::make(16, 60, 200, 30), "Hidden"), MaskView::mask);
    add<platform::Button>("pay", *header, Rect::make(250, 20, 120, 40), "Pay");

    add<platform::TextField>("field", *window_, Rect::make(16, 110, 300, 40))->setText("secret");
    auto open = add<platform::TextField>("openField", *window_, Rect::make(16, 160, 300, 40));
    open->setText("city");
    setObxMasking(*open, MaskView::unmask);
    add<platform::Switch>("toggle", *window_, Rect::make(330, 160, 50, 30));

    auto photo = add<platform::ImageView>("photo", *window_, Rect::make(16, 210, 120, 80),
                                          platform::Image::make("photo", {120, 80}));
    auto caption = add<platform::Label>("caption", *photo, Rect::make(0, 50, 120, 30), "Caption");
    caption->setAlpha(0.5);
    add<platform::WebView>("web", *window_, Rect::make(150, 210, 220, 80))->setTitle("Offers");

    auto translucent = add<platform::View>("translucent", *window_, Rect::make(0, 300, 390, 60));
    translucent->setAlpha(0.6);
    add<platform::TextField>("pin", *translucent, Rect::make(16, 10, 100, 40))->setText("1234");

    auto list = add<platform::ScrollView>("list", *window_, Rect::make(0, 370, 390, 200));
    list->setContentSize({390, 600});
    list->setContentOffset({0, 120});
    for (int row = 0; row < 3; ++row) {
      auto cell = add<platform::View>("row" + std::to_string(row), *list, Rect::make(0, row * 100, 390, 100));
      cell->setBackgroundColor(Color{0.97, 0.97, 0.98, 1});
      add<platform::Label>("rowTitle" + std::to_string(row), *cell, Rect::make(12, 10, 200, 30), "Order " + std::to_string(row));
    }

    auto blur = std::make_shared<platform::VisualEffectView>(Rect::make(0, 580, 390, 60), platform::BlurEffectStyle::dark);
    window_->addSubview(blur);
    named_.emplace_back("blur", blur);
    add<platform::Label>("blurText", *blur->contentView(), Rect::make(10, 10, 200, 30), "Over the blur");

    add<platform::View>("beforePlayer", *window_, Rect::make(0, 650, 390, 40));
    auto player = add<HostPlayerView>("player", *window_, Rect::make(0, 650, 390, 40));
    add<platform::Label>("playerTitle", *player, Rect::make(5, 5, 100, 20), "Now playing");
    add<platform::Label>("hidden", *window_, Rect::make(0, 700, 100, 20), "Hidden text")->setHidden(true);
    add<platform::Label>("transparent", *window_, Rect::make(0, 730, 100, 20), "Clear text")->setAlpha(0);
    auto masked = add<platform::View>("maskedBox", *window_, Rect::make(200, 700, 150, 60));
    setObxMasking(*masked, MaskView::mask);
    add<platform::Label>("insideMasked", *masked, Rect::make(5, 5, 100, 20), "Never walked");
    window_->layoutIfNeeded();
  }

  template <typename T, typename... Args>
  std::shared_ptr<T> add(const std::string& name, platform::View& parent, Rect frame, Args&&... args) {
    auto view = std::make_shared<T>(frame, std::forward<Args>(args)...);
    parent.addSubview(view);
    named_.emplace_back(name, view);
    return view;
  }

  // The layer tree, the blocks and the hashed text of a wireframe, one line each; contents are
  // named after the view whose own drawing they are, addresses numbered in order of appearance.
  std::string dump(const Wireframe& wireframe) {
    std::map<const platform::Bitmap*, std::string> owners;
    for (const auto& [name, view] : named_) {
      if (const auto& contents = view->layer()->contents()) owners[contents.get()] = name;
    }
    std::ostringstream out;
    dumpLayer(*wireframe.root, 0, owners, out);
    for (const auto& rect : wireframe.opaqueBlocks) out << "block " << platform::describeRect(rect) << "\n";
    std::string text = wireframe.node.allDescription();
    std::regex address("0x[0-9a-f]+");
    std::map<std::string, int> numbers;
    std::string numbered;
    auto begin = std::sregex_iterator(text.begin(), text.end(), address);
    std::size_t last = 0;
    for (auto it = begin; it != std::sregex_iterator(); ++it) {
      numbered += text.substr(last, static_cast<std::size_t>(it->position()) - last);
      auto [entry, added] = numbers.emplace(it->str(), static_cast<int>(numbers.size()));
      numbered += "@" + std::to_string(entry->second);
      last = static_cast<std::size_t>(it->position() + it->length());
    }
    numbered += text.substr(last);
    out << std::regex_replace(numbered, std::regex("><"), ">\n<") << "\n";
    return out.str();
  }

  static void dumpLayer(const platform::Layer& layer, int depth, const std::map<const platform::Bitmap*, std::string>& owners,
                        std::ostringstream& out) {
    const auto& a = layer.attributes();
    out << std::string(static_cast<std::size_t>(depth) * 2, ' ') << layer.className() << " "
        << platform::describeRect(layer.frame());
    if (layer.bounds().origin != platform::Point{0, 0}) out << " origin " << layer.bounds().origin.x << "," << layer.bounds().origin.y;
    if (const auto& bg = layer.backgroundColor()) out << " bg " << platform::describeColor(*bg);
    if (a.opacity != 1.0) out << " opacity " << a.opacity;
    if (a.hidden) out << " hidden";
    if (a.masksToBounds) out << " clips";
    if (a.borderWidth > 0) out << " border " << a.borderWidth << " " << platform::describeColor(a.borderColor.value_or(Color{}));
    if (a.cornerRadius > 0) out << " radius " << a.cornerRadius;
    if (const auto& contents = layer.contents()) {
      auto owner = owners.find(contents.get());
      out << " contents " << (owner != owners.end() ? owner->second : "render " + std::to_string(contents->width()) + "x" +
                                                                           std::to_string(contents->height()));
    }
    out << "\n";
    for (const auto& sublayer : layer.sublayers()) dumpLayer(*sublayer, depth + 1, owners, out);
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::shared_ptr<platform::Application> application_ = platform::Application::resetShared(scheduler_);
  std::shared_ptr<SVRConfiguration> configuration_ = std::make_shared<SVRConfiguration>(nullptr, nullptr);
  BitmapCache cache_;
  std::shared_ptr<ScreenRecordingLOFIMode> recorder_ = ScreenRecordingLOFIMode::make(configuration_, scheduler_, &cache_);
  std::shared_ptr<platform::Window> window_ = std::make_shared<platform::Window>(Rect::make(0, 0, 390, 844));
  std::vector<std::pair<std::string, std::shared_ptr<platform::View>>> named_;
};

// The wireframe of a fixed screen without masks and with most of them forced, layer by layer:
// frames, colours, opacity, clipping, corners, borders, which contents each layer shows, the order
// of layers, the blocks painted over the image and the text whose hash tells a change. With force,
// the views found masked keep their mask.
TEST_F(WireframeWalkTest, WireframeOfAFixedScreen) {
  struct Case {
    const char* name;
    std::vector<MaskAutomatic> masks;
    bool force;
    const char* expected;
  } cases[] = {
      {"no masks", {}, false, R"(
Layer (0 0; 390 844) bg 1 1 1 1
  Layer (0 0; 390 100) bg 0.1 0.2 0.3 1 clips radius 8
    Layer (16 20; 200 30) contents title
    Layer (16 60; 200 30) bg 0.5 0.5 0.5 1 border 1 1 1 1 1 radius 3
    Layer (250 20; 120 40) contents pay
  Layer (16 110; 300 40) contents field
  Layer (16 160; 300 40) contents openField
  Layer (330 160; 50 30)
  Layer (16 210; 120 80) contents render 120x80
    Layer (0 50; 120 30) opacity 0.5 contents caption
  Layer (150 210; 220 80) contents render 220x80
  Layer (0 300; 390 60) opacity 0.6
    Layer (16 10; 100 40) contents pin
  ScrollLayer (0 370; 390 200) origin 0,120
    Layer (0 0; 390 100) bg 0.97 0.97 0.98 1
      Layer (12 10; 200 30) contents rowTitle0
    Layer (0 100; 390 100) bg 0.97 0.97 0.98 1
      Layer (12 10; 200 30) contents rowTitle1
    Layer (0 200; 390 100) bg 0.97 0.97 0.98 1
      Layer (12 10; 200 30) contents rowTitle2
  Layer (0 580; 390 60) bg 0 0 0 1
    Layer (0 0; 390 60)
      Layer (10 10; 200 30) contents blurText
  Layer (0 650; 390 40)
    Layer (5 5; 100 20) bg 0.5 0.5 0.5 1
  Layer (200 700; 150 60) bg 0.5 0.5 0.5 1 border 1 1 1 1 1
<Window: @0; frame = (0 0; 390 844); bounds = (0 0; 390 844); backgroundColor = 1 1 1 1; subviews = 14>
<View: @1; frame = (0 0; 390 100); bounds = (0 0; 390 100); backgroundColor = 0.1 0.2 0.3 1; clipsToBounds = YES; subviews = 3>
<Label: @2; frame = (16 20; 200 30); text = 'Total'; bounds = (0 0; 200 30); subviews = 0>
<Button: @3; frame = (250 20; 120 40); title = 'Pay'; bounds = (0 0; 120 40); subviews = 0>
<TextField: @4; frame = (16 110; 300 40); text = 'secret'; bounds = (0 0; 300 40); subviews = 0>
<TextField: @5; frame = (16 160; 300 40); text = 'city'; bounds = (0 0; 300 40); subviews = 0>
<Switch: @6; frame = (330 160; 50 30); on = NO; bounds = (0 0; 50 30); subviews = 0>
<ImageView: @7; frame = (16 210; 120 80); image = <Image: 'photo' {120, 80}>; bounds = (0 0; 120 80); subviews = 1>
<Label: @8; frame = (0 50; 120 30); alpha = 0.5; text = 'Caption'; bounds = (0 0; 120 30); subviews = 0>
<WebView: @9; frame = (150 210; 220 80); url = ''; bounds = (0 0; 220 80); subviews = 0>
<View: @10; frame = (0 300; 390 60); alpha = 0.6; bounds = (0 0; 390 60); subviews = 1>
<TextField: @11; frame = (16 10; 100 40); text = '1234'; bounds = (0 0; 100 40); subviews = 0>
<ScrollView: @12; frame = (0 370; 390 200); contentOffset = {0, 120}; contentSize = {390, 600}; bounds = (0 120; 390 200); subviews = 3>
<View: @13; frame = (0 0; 390 100); bounds = (0 0; 390 100); backgroundColor = 0.97 0.97 0.98 1; subviews = 1>
<Label: @14; frame = (12 10; 200 30); text = 'Order 0'; bounds = (0 0; 200 30); subviews = 0>
<View: @15; frame = (0 100; 390 100); bounds = (0 0; 390 100); backgroundColor = 0.97 0.97 0.98 1; subviews = 1>
<Label: @16; frame = (12 10; 200 30); text = 'Order 1'; bounds = (0 0; 200 30); subviews = 0>
<View: @17; frame = (0 200; 390 100); bounds = (0 0; 390 100); backgroundColor = 0.97 0.97 0.98 1; subviews = 1>
<Label: @18; frame = (12 10; 200 30); text = 'Order 2'; bounds = (0 0; 200 30); subviews = 0>
<VisualEffectView: @19; frame = (0 580; 390 60); effect = 1; bounds = (0 0; 390 60); subviews = 1>
<View: @20; frame = (0 0; 390 60); bounds = (0 0; 390 60); subviews = 1>
<Label: @21; frame = (10 10; 200 30); text = 'Over the blur'; bounds = (0 0; 200 30); subviews = 0>
<View: @22; frame = (0 650; 390 40); bounds = (0 0; 390 40); subviews = 0>
<obx.(anonymous namespace).HostPlayerView: @23; frame = (0 650; 390 40); bounds = (0 0; 390 40); subviews = 1>
<Label: @24; frame = (5 5; 100 20); text = 'Now playing'; bounds = (0 0; 100 20); subviews = 0>
masked: maskedTitle maskedBox
)"},
      {"labels, images and inputs, forced", {MaskAutomatic::labels, MaskAutomatic::images, MaskAutomatic::inputs}, true, R"(
Layer (0 0; 390 844) bg 1 1 1 1
  Layer (0 0; 390 100) bg 0.1 0.2 0.3 1 clips radius 8
    Layer (16 20; 200 30) bg 0.5 0.5 0.5 1 border 1 1 1 1 1 radius 3
    Layer (16 60; 200 30) bg 0.5 0.5 0.5 1 border 1 1 1 1 1 radius 3
    Layer (250 20; 120 40) bg 0.5 0.5 0.5 1 border 1 1 1 1 1 radius 4
  Layer (16 110; 300 40) bg 0.5 0.5 0.5 1
  Layer (16 160; 300 40) contents openField
  Layer (330 160; 50 30)
  Layer (16 210; 120 80) bg 0.5 0.5 0.5 1 border 1 1 1 1 1
    Layer (0 50; 120 30) bg 0.5 0.5 0.5 1
  Layer (150 210; 220 80) contents render 220x80
  Layer (0 300; 390 60) opacity 0.6
    Layer (16 10; 100 40) bg 0.5 0.5 0.5 1
  ScrollLayer (0 370; 390 200) origin 0,120
    Layer (0 0; 390 100) bg 0.97 0.97 0.98 1
      Layer (12 10; 200 30) bg 0.5 0.5 0.5 1 border 1 1 1 1 1 radius 3
    Layer (0 100; 390 100) bg 0.97 0.97 0.98 1
      Layer (12 10; 200 30) bg 0.5 0.5 0.5 1 border 1 1 1 1 1 radius 3
    Layer (0 200; 390 100) bg 0.97 0.97 0.98 1
      Layer (12 10; 200 30) bg 0.5 0.5 0.5 1 border 1 1 1 1 1 radius 3
  Layer (0 580; 390 60) bg 0 0 0 1
    Layer (0 0; 390 60)
      Layer (10 10; 200 30) bg 0.5 0.5 0.5 1 border 1 1 1 1 1 radius 3
  Layer (0 650; 390 40)
    Layer (5 5; 100 20) bg 0.5 0.5 0.5 1
  Layer (200 700; 150 60) bg 0.5 0.5 0.5 1 border 1 1 1 1 1
block (16 260; 120 30)
block (16 310; 100 40)
<Window: @0; frame = (0 0; 390 844); bounds = (0 0; 390 844); backgroundColor = 1 1 1 1; subviews = 14>
<View: @1; frame = (0 0; 390 100); bounds = (0 0; 390 100); backgroundColor = 0.1 0.2 0.3 1; clipsToBounds = YES; subviews = 3>
<Label: @2; frame = (16 20; 200 30); text = 'Total'; bounds = (0 0; 200 30); subviews = 0>
<Button: @3; frame = (250 20; 120 40); title = 'Pay'; bounds = (0 0; 120 40); subviews = 0>
<TextField: @4; frame = (16 160; 300 40); text = 'city'; bounds = (0 0; 300 40); subviews = 0>
<Switch: @5; frame = (330 160; 50 30); on = NO; bounds = (0 0; 50 30); subviews = 0>
<ImageView: @6; frame = (16 210; 120 80); image = <Image: 'photo' {120, 80}>; bounds = (0 0; 120 80); subviews = 1>
<Label: @7; frame = (0 50; 120 30); alpha = 0.5; text = 'Caption'; bounds = (0 0; 120 30); subviews = 0>
<WebView: @8; frame = (150 210; 220 80); url = ''; bounds = (0 0; 220 80); subviews = 0>
<View: @9; frame = (0 300; 390 60); alpha = 0.6; bounds = (0 0; 390 60); subviews = 1>
<ScrollView: @10; frame = (0 370; 390 200); contentOffset = {0, 120}; contentSize = {390, 600}; bounds = (0 120; 390 200); subviews = 3>
<View: @11; frame = (0 0; 390 100); bounds = (0 0; 390 100); backgroundColor = 0.97 0.97 0.98 1; subviews = 1>
<Label: @12; frame = (12 10; 200 30); text = 'Order 0'; bounds = (0 0; 200 30); subviews = 0>
<View: @13; frame = (0 100; 390 100); bounds = (0 0; 390 100); backgroundColor = 0.97 0.97 0.98 1; subviews = 1>
<Label: @14; frame = (12 10; 200 30); text = 'Order 1'; bounds = (0 0; 200 30); subviews = 0>
<View: @15; frame = (0 200; 390 100); bounds = (0 0; 390 100); backgroundColor = 0.97 0.97 0.98 1; subviews = 1>
<Label: @16; frame = (12 10; 200 30); text = 'Order 2'; bounds = (0 0; 200 30); subviews = 0>
<VisualEffectView: @17; frame = (0 580; 390 60); effect = 1; bounds = (0 0; 390 60); subviews = 1>
<View: @18; frame = (0 0; 390 60); bounds = (0 0; 390 60); subviews = 1>
<Label: @19; frame = (10 10; 200 30); text = 'Over the blur'; bounds = (0 0; 200 30); subviews = 0>
<View: @20; frame = (0 650; 390 40); bounds = (0 0; 390 40); subviews = 0>
<obx.(anonymous namespace).HostPlayerView: @21; frame = (0 650; 390 40); bounds = (0 0; 390 40); subviews = 1>
<Label: @22; frame = (5 5; 100 20); text = 'Now playing'; bounds = (0 0; 100 20); subviews = 0>
masked: title maskedTitle pay field photo caption pin rowTitle0 rowTitle1 rowTitle2 blurText player playerTitle maskedBox
)"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    RecordedScreen screen;
    screen.masks = c.masks;
    screen.forceMask = c.force;
    std::string text = "\n" + dump(recorder_->buildWireframe(*window_, screen));
    text += "masked:";
    for (const auto& [name, view] : named_) {
      if (obxMasking(*view) == MaskView::mask) text += " " + name;
    }
    EXPECT_EQ(text + "\n", c.expected);
  }
}

}  // namespace
}  // namespace obx
