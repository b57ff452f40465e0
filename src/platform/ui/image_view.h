// ImageView: a view that shows an image. Main queue only.
#pragma once

#include <memory>

#include "platform/runtime/runtime.h"
#include "platform/ui/image.h"
#include "platform/ui/view.h"

namespace obx::platform {

class ImageView : public View {
 public:
  OBX_RUNTIME_CLASS(ImageView, "ImageView", View)
  ImageView() : ImageView(Rect{}) {}
  explicit ImageView(Rect frame, std::shared_ptr<const Image> image = nullptr) : View(frame), image_(std::move(image)) {
    setDeclaredClass(runtimeClass());
  }

  std::shared_ptr<const Image> image() const { return image_; }
  void setImage(std::shared_ptr<const Image> image) {
    if (image == image_) return;
    image_ = std::move(image);
    visualStateChanged();
  }

 protected:
  void describeState(std::vector<std::string>& parts) const override {
    if (image_) parts.push_back("image = <Image: " + quoteForDescription(image_->name) + " " + describeSize(image_->size) + ">");
  }
  bool hasContents() const override { return image_ != nullptr; }
  BitmapKind contentsKind() const override { return BitmapKind::image; }
  // The image stretched over the bounds.
  void drawRect(BitmapContext& context, Rect bounds) const override;

 private:
  std::shared_ptr<const Image> image_;
};

}  // namespace obx::platform
