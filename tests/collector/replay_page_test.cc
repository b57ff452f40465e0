#include "collector/replay_page.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace obx::collector {
namespace {

Json imagesEvent(std::int64_t offset, const std::vector<std::int64_t>& durations) {
  Json frames = Json::array();
  for (std::size_t i = 0; i < durations.size(); ++i) {
    frames.push_back({{"sName", std::to_string(i) + ".jpg"}, {"sIndex", i}, {"sWidth", 195}, {"sHeight", 422},
                      {"sDuration", durations[i]}, {"timestamp", 1700000000000 + 100 * i}});
  }
  return {{"t", "images"}, {"o", offset}, {"d", frames}};
}

ReplayScreen screenOf(Json events) { return ReplayScreen{"002_abc", "abc", std::move(events), {}}; }

// Frames end at the "images" event's offset (the last batch end) when they fit before it, and start
// at 0 otherwise; the screen lasts until its last event or frame.
TEST(ReplayPageModelTest, FramesArePlacedOnTheScreensTime) {
  struct Case {
    std::int64_t imagesOffset;
    std::vector<std::int64_t> durations;
    std::vector<std::int64_t> starts;
    std::int64_t duration;
  };
  for (const Case& c : {
           Case{1000, {390, 600}, {10, 400}, 1010},  // the upload's own example: images at 10 and 400, "bE" at 1000
           Case{0, {500, 500}, {0, 500}, 1010},      // no "bE": the durations from 0
           Case{300, {500, 500}, {0, 500}, 1010},    // more frames than time before the end: from 0
           Case{2000, {2000}, {0}, 2010},
       }) {
    Json events = Json::array({Json{{"t", "screen"}, {"o", 0}, {"d", {{"sN", "Basket"}}}}});
    events.push_back(imagesEvent(c.imagesOffset, c.durations));
    events.push_back({{"t", "aE"}, {"o", std::max<std::int64_t>(c.imagesOffset, 1000) + 10}, {"d", ""}});
    const Json model = ReplayPage::screenModel(screenOf(events));
    std::vector<std::int64_t> starts;
    for (const Json& frame : model["frames"]) starts.push_back(frame["start"].get<std::int64_t>());
    EXPECT_EQ(starts, c.starts) << "images at " << c.imagesOffset;
    EXPECT_EQ(model["duration"], c.duration) << "images at " << c.imagesOffset;
    EXPECT_EQ(model["name"], "Basket");
    EXPECT_EQ(model["frames"][0]["src"], "002_abc/0.jpg");
  }
}

// Each touch record becomes a dot on the frame on display at its offset: the first frame before any
// has started, the last after the end, none without frames.
TEST(ReplayPageModelTest, TouchesLandOnTheFrameOfTheirTime) {
  Json events = Json::array();
  events.push_back({{"t", "tB"}, {"o", 5}, {"d", Json::array({{{"x", 10}, {"y", 20}}})}});
  events.push_back({{"t", "tM"}, {"o", 450}, {"d", Json::array({{{"x", 11}, {"y", 21}}, {{"x", 300}, {"y", 400}}})}});
  events.push_back({{"t", "tE"}, {"o", 900}, {"d", Json::array({{{"x", 12}, {"y", 22}, {"oX", 0}, {"oY", 3}}})}});
  events.push_back({{"t", "tE"}, {"o", 1500}, {"d", "not a list"}});
  Json withFrames = events;
  withFrames.push_back(imagesEvent(1000, {390, 200, 400}));  // frames from 10, 400 and 600

  struct Expected {
    std::int64_t o;
    const char* type;
    std::int64_t x;
    std::int64_t frame;
  };
  const std::vector<Expected> expected = {{5, "tB", 10, 0}, {450, "tM", 11, 1}, {450, "tM", 300, 1}, {900, "tE", 12, 2}};
  const Json model = ReplayPage::screenModel(screenOf(withFrames));
  ASSERT_EQ(model["touches"].size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const Json& touch = model["touches"][i];
    EXPECT_EQ(touch["o"], expected[i].o) << i;
    EXPECT_EQ(touch["t"], expected[i].type) << i;
    EXPECT_EQ(touch["x"], expected[i].x) << i;
    EXPECT_EQ(touch["frame"], expected[i].frame) << i;
  }
  EXPECT_EQ(model["duration"], 1500);

  const Json frameless = ReplayPage::screenModel(screenOf(events));
  ASSERT_EQ(frameless["touches"].size(), 4u);
  for (const Json& touch : frameless["touches"]) EXPECT_EQ(touch["frame"], -1);
}

// Touch coordinates are points of the screen: its size is the "ss" of the "aM" event, else the
// first frame's size (which is halved on large screens), else unknown.
TEST(ReplayPageModelTest, ScreenSizeForTheTouches) {
  struct Case {
    const char* screenSize;  // null: no "aM" event
    bool frames;
    std::int64_t width;
    std::int64_t height;
  };
  for (const Case& c : {Case{"390x844", true, 390, 844}, Case{"1366x1024", true, 1366, 1024},
                        Case{nullptr, true, 195, 422}, Case{"390 by 844", true, 195, 422}, Case{"x844", true, 195, 422},
                        Case{"0x844", false, 0, 0}, Case{nullptr, false, 0, 0}}) {
    Json events = Json::array();
    if (c.screenSize) events.push_back({{"t", "aM"}, {"o", 0}, {"d", {{"ss", c.screenSize}, {"aV", "1.0"}}}});
    if (c.frames) events.push_back(imagesEvent(0, {100}));
    const Json model = ReplayPage::screenModel(screenOf(events));
    const std::string label = c.screenSize ? c.screenSize : "(none)";
    EXPECT_EQ(model["width"], c.width) << label;
    EXPECT_EQ(model["height"], c.height) << label;
  }
}

// Names and texts from the upload reach the page only escaped: neither the markup nor the script
// can be closed or opened by a screen name.
TEST(ReplayPageModelTest, NamesCannotBreakOutOfThePage) {
  const std::string hostile = "</script><script>alert(1)</script><!--";
  Json events = Json::array();
  events.push_back({{"t", "screen"}, {"o", 0}, {"d", {{"sN", hostile}, {"sI", 1}, {"sT", 0}, {"o", "portrait"}}}});
  events.push_back({{"t", "goal"}, {"o", 3}, {"d", {{"conid", hostile}, {"conc", "EUR"}, {"conv", 1}}}});
  events.push_back(imagesEvent(100, {100}));
  const std::string page = ReplayPage::render("S1", {screenOf(events)});
  EXPECT_EQ(page.find("alert(1)</script>"), std::string::npos);
  EXPECT_EQ(page.find("<script>alert"), std::string::npos);
  EXPECT_EQ(page.find("<!--"), std::string::npos);
  EXPECT_NE(page.find("\\u003c/script\\u003e"), std::string::npos) << "the name is in the script, escaped";
  EXPECT_NE(page.find("&lt;/script&gt;"), std::string::npos) << "the name is in the markup, escaped";
  // One script element: the page's own.
  std::size_t scripts = 0;
  for (auto at = page.find("<script>"); at != std::string::npos; at = page.find("<script>", at + 1)) ++scripts;
  EXPECT_EQ(scripts, 1u);
}

// A screen that arrived in two uploads is named in both: the later one, without a "screen" event,
// borrows the name of the first with the same cScreenID; another screen's name is not borrowed.
TEST(ReplayPageModelTest, LaterUploadOfAScreenIsNamed) {
  Json first = Json::array({Json{{"t", "screen"}, {"o", 0}, {"d", {{"sN", "Basket"}}}}, imagesEvent(100, {100})});
  Json later = Json::array({imagesEvent(100, {100})});
  const std::string page = ReplayPage::render(
      "S1", {ReplayScreen{"001_abc", "abc", first, {}}, ReplayScreen{"002_abc", "abc", later, {}},
             ReplayScreen{"003_def", "def", later, {}}});
  EXPECT_NE(page.find("002_abc · Basket, continued"), std::string::npos);
  EXPECT_EQ(page.find("003_def · Basket"), std::string::npos);
}

// A later upload of a screen lists again the frame on display when its batch began: the page takes
// that frame's file from the earlier upload of the same screen that brought it, and marks a frame
// whose file no upload of the screen brought.
TEST(ReplayPageModelTest, FrameFilesComeFromEarlierUploadsOfTheScreen) {
  Json twoFrames = Json::array({imagesEvent(300, {100, 200})});  // indexes 0 and 1
  const std::string page = ReplayPage::render(
      "S1", {ReplayScreen{"001_abc", "abc", twoFrames, {0, 1}}, ReplayScreen{"002_def", "def", twoFrames, {0}},
             ReplayScreen{"003_abc", "abc", twoFrames, {0}}});
  for (const std::string expected : {
           "<li data-frame=\"1\">001_abc/1.jpg (1.jpg), 200 ms, from 100 ms</li>",
           "<li data-frame=\"1\">002_def/1.jpg (1.jpg), 200 ms, from 100 ms, its file did not arrive</li>",
           "<li data-frame=\"0\">003_abc/0.jpg (0.jpg)",
           "<li data-frame=\"1\">001_abc/1.jpg (1.jpg), 200 ms, from 100 ms</li>\n</ol>\n</details>\n</section>\n</div>",
       }) {
    EXPECT_NE(page.find(expected), std::string::npos) << expected;
  }
}

}  // namespace
}  // namespace obx::collector
