// ScreenRecordingLOFIMode: the wireframe recorder. On the main thread it walks the key window's view
// tree once, applying the mask rule, and builds a copy of each visible view's layer (masked views
// become plain blocks with no contents) together with a Node tree whose hash says whether anything
// changed. On its own queue it drops a wireframe identical to the last image's, but for the screen's
// first image, and otherwise renders the copy and codes it as JPEG.
//
// Made with `make`; its queued work holds it weakly.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/graphics/bitmap.h"
#include "platform/graphics/layer.h"
#include "store/image_cache.h"
#include "svr/recording/mask_rule.h"
#include "svr/recording/node.h"
#include "svr/recording/screen_recording_mode.h"

namespace obx {

using BitmapCache = ImageCache<platform::Bitmap>;

// What one main-thread pass built: the wireframe's root layer and the hash of its Node tree.
struct Wireframe {
  std::shared_ptr<platform::Layer> root;
  Node node{""};
  // Window rectangles of blocks that their own layer can't make opaque: a translucent view or
  // ancestor, or a view inside an image or web view whose rendered content shows its pixels. They
  // are painted again over the finished wireframe.
  std::vector<platform::Rect> opaqueBlocks;
};

class ScreenRecordingLOFIMode : public ScreenRecordingMode,
                                public std::enable_shared_from_this<ScreenRecordingLOFIMode> {
 public:
  // `imageCache` holds the rendered image views of the screen; the shared one when null.
  static std::shared_ptr<ScreenRecordingLOFIMode> make(std::shared_ptr<SVRConfiguration> configuration,
                                                       std::shared_ptr<platform::Scheduler> scheduler,
                                                       BitmapCache* imageCache = nullptr);

  void recordScreen(double width, double height, Completion completion) override;

  // The wireframe of `window` under the present masks, made on the main thread. Public for the
  // benchmarks and tests that look at one pass.
  Wireframe buildWireframe(const platform::View& window) { return buildWireframe(window, screen()); }
  Wireframe buildWireframe(const platform::View& window, const RecordedScreen& screen);
  // Renders a wireframe with the rectangles to block, the whole screen fitted to the image of
  // `width` by `height` points; null without a context.
  std::shared_ptr<const platform::Bitmap> render(const platform::Layer& root, const std::vector<platform::Rect>& dataMasked,
                                                 double width, double height) const;
  // The hash of the last image drawn; read on the record queue.
  std::optional<std::string> hashNode() const { return hashNode_; }

 private:
  ScreenRecordingLOFIMode(std::shared_ptr<SVRConfiguration> configuration, std::shared_ptr<platform::Scheduler> scheduler,
                          BitmapCache* imageCache);
  struct Walk;
  void mainQueuePass(const Capture& capture, double width, double height, const Completion& completion);
  void draw(const Capture& capture, const std::string& hash, const std::shared_ptr<platform::Layer>& root,
            const std::vector<platform::Rect>& dataMasked, double width, double height);
  // `opacity` is the product of the alphas above `view`; `inRenderedContent` tells that an
  // ancestor's content is a render of its subtree.
  void walkLevel(const platform::View& view, platform::Layer& parentLayer, MaskView state, Node& node, Walk& walk,
                 double opacity, bool inRenderedContent);
  std::shared_ptr<platform::Layer> layerFor(const platform::View& view, const MaskDecision& decision, Walk& walk);
  std::shared_ptr<const platform::Bitmap> renderOfView(const platform::View& view, bool withCache);

  BitmapCache* imageCache_;
  std::optional<std::string> hashNode_;
};

// Sets on `layer` the frame and background of `view` and the properties of the view's layer.
void layerCopy(const platform::View& view, platform::Layer& layer);

}  // namespace obx
