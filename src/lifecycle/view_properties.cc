#include "lifecycle/view_properties.h"

namespace obx {

using platform::AssociationPolicy;

namespace {
void setName(platform::Object& object, const void* key, std::optional<std::string> value) {
  object.setAssociatedObject(key, value ? std::any(*value) : std::any(), AssociationPolicy::copyNonatomic);
}
}  // namespace

std::optional<std::string> obxScreenName(const platform::ViewController& controller) {
  return controller.associatedValue<std::string>(kOBXScreenNameKey);
}
void setObxScreenName(platform::ViewController& controller, std::optional<std::string> name) {
  setName(controller, kOBXScreenNameKey, std::move(name));
}
bool obxDisableRecordingOnThisScreen(const platform::ViewController& controller) {
  return controller.associatedValue<bool>(kOBXDisableRecordingKey).value_or(false);
}
void setObxDisableRecordingOnThisScreen(platform::ViewController& controller, bool value) {
  controller.setAssociatedObject(kOBXDisableRecordingKey, value, AssociationPolicy::retainNonatomic);
}
bool obxDisableAnalyticsAndRecordingOnThisScreen(const platform::ViewController& controller) {
  return controller.associatedValue<bool>(kOBXDisableAnalyticsAndRecordingKey).value_or(false);
}
void setObxDisableAnalyticsAndRecordingOnThisScreen(platform::ViewController& controller, bool value) {
  controller.setAssociatedObject(kOBXDisableAnalyticsAndRecordingKey, value, AssociationPolicy::retainNonatomic);
}

MaskView obxMasking(const platform::View& view) {
  return view.associatedValue<MaskView>(kOBXMaskingTagKey).value_or(MaskView::automatic);
}
void setObxMasking(platform::View& view, MaskView value) {
  view.setAssociatedObject(kOBXMaskingTagKey, value, AssociationPolicy::retainNonatomic);
}
std::optional<std::string> obxStringTag(const platform::View& view) {
  return view.associatedValue<std::string>(kOBXStringTagKey);
}
void setObxStringTag(platform::View& view, std::optional<std::string> tag) {
  view.setAssociatedObject(kOBXStringTagKey, tag ? std::any(*tag) : std::any(), AssociationPolicy::retainNonatomic);
}
bool obxFormTrack(const platform::View& view) { return view.associatedValue<bool>(kOBXFormTagKey).value_or(false); }
void setObxFormTrack(platform::View& view, bool value) {
  view.setAssociatedObject(kOBXFormTagKey, value, AssociationPolicy::retainNonatomic);
}

std::shared_ptr<platform::View> obxMaskView(platform::View& content) {
  auto overlay = std::make_shared<platform::View>(content.bounds());
  overlay->setBackgroundColor(platform::Color{0, 0, 0, 0});
  overlay->setUserInteractionEnabled(false);
  setObxMasking(*overlay, MaskView::mask);
  // It covers what the content shows as the content moves, resizes or scrolls.
  overlay->setFollowsSuperviewBounds(true);
  content.addSubview(overlay);
  return overlay;
}

}  // namespace obx
