#include "lifecycle/view_properties.h"

#include <algorithm>
#include <mutex>

#include "platform/ui/application.h"

namespace obx {

using platform::AssociationPolicy;

namespace {

// The marked views, held weakly: a mark lives and dies with its view.
struct FormTrackedViews {
  std::mutex mutex;
  std::vector<std::weak_ptr<platform::Object>> views;
};

FormTrackedViews& formTrackedViews() {
  static auto* list = new FormTrackedViews;
  return *list;
}

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
  {
    FormTrackedViews& list = formTrackedViews();
    std::lock_guard lock(list.mutex);
    const platform::Object* identity = &view;
    std::erase_if(list.views, [&](const std::weak_ptr<platform::Object>& entry) {
      auto live = entry.lock();
      return !live || live.get() == identity;
    });
    if (value) list.views.push_back(view.weak_from_this());
  }
  if (value) platform::Application::shared()->notificationCenter()->post(kOBXFormTrackDidChangeNotification);
}

std::vector<std::shared_ptr<platform::View>> obxFormTrackedViews() {
  FormTrackedViews& list = formTrackedViews();
  std::lock_guard lock(list.mutex);
  std::vector<std::shared_ptr<platform::View>> views;
  std::erase_if(list.views, [](const std::weak_ptr<platform::Object>& entry) { return entry.expired(); });
  for (const auto& entry : list.views) {
    if (auto live = entry.lock()) views.push_back(std::static_pointer_cast<platform::View>(live));
  }
  return views;
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
