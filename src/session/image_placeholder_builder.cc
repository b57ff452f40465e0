#include "session/image_placeholder_builder.h"

#include <exception>
#include <string_view>

#include "base/logger.h"
#include "platform/crypto/base64.h"
#include "platform/graphics/image_coding.h"
#include "platform/ui/application.h"
#include "session/placeholder_assets.h"
#include "session/placeholder_page.h"
#include "store/cache_controller.h"

namespace obx {

namespace {

constexpr double kLargeScreenSide = 1200.0;

bool isLargeScreen(platform::Size screen) {
  return screen.width > kLargeScreenSide || screen.height > kLargeScreenSide;
}

// The interface orientation of the first connected scene; portrait when there is none.
bool interfaceIsLandscape(const platform::Application& application) {
  auto scenes = application.connectedScenes();
  if (scenes.empty() || !scenes.front()) return false;
  return platform::isLandscape(scenes.front()->interfaceOrientation());
}

}  // namespace

ImagePlaceholderBuilder::ImagePlaceholderBuilder(std::shared_ptr<CacheController> cacheController,
                                                 std::shared_ptr<platform::DispatchQueue> mainQueue)
    : cacheController_(std::move(cacheController)), mainQueue_(std::move(mainQueue)) {}

void ImagePlaceholderBuilder::createPlaceholder(PlaceholderReason reason, Completion completion) {
  if (!mainQueue_) return;
  // The block holds the cache itself, so a placeholder asked for just before teardown still arrives.
  mainQueue_->async([cache = cacheController_, reason, completion = std::move(completion)] {
    std::optional<std::string> data = makePlaceholder(cache.get(), reason);
    if (completion) completion(std::move(data));
  });
}

void ImagePlaceholderBuilder::placeholderImage(PlaceholderReason reason, Completion completion) {
  createPlaceholder(reason, std::move(completion));
}

std::optional<std::string> ImagePlaceholderBuilder::placeholderData(PlaceholderReason reason) const {
  return makePlaceholder(cacheController_.get(), reason);
}

std::optional<std::string> ImagePlaceholderBuilder::makePlaceholder(CacheController* cacheController,
                                                                    PlaceholderReason reason) {
  auto application = platform::Application::shared();
  std::string key = cacheKey(reason, interfaceIsLandscape(*application));
  if (cacheController) {
    if (auto cached = cacheController->read(key); cached && !cached->empty()) return cached;
  }
  std::optional<std::string> page;
  try {
    page = composePlaceholder(reason, application->mainScreen()->bounds().size);
  } catch (const std::exception& error) {
    Logger::log(std::string("Placeholder page failed: ") + error.what(), LogLevel::developer);
  }
  if (page) {
    if (cacheController) cacheController->saveImage(*page, key);
    return page;
  }
  Logger::log("Placeholder page could not be drawn, the fallback image is used for " + key, LogLevel::developer);
  return fallbackPlaceholder();
}

std::string ImagePlaceholderBuilder::cacheKey(PlaceholderReason reason, bool landscape) {
  return std::to_string(static_cast<int>(reason)) + (landscape ? "-landscape" : "-portrait");
}

std::optional<std::string> ImagePlaceholderBuilder::composePlaceholder(PlaceholderReason reason,
                                                                       platform::Size screenSize) {
  platform::Size pageSize = screenSize;
  double scale = 1.0;
  if (isLargeScreen(screenSize)) {
    pageSize = {screenSize.width / 2, screenSize.height / 2};
    scale = 0.5;
  }
  auto bitmap = PlaceholderPage::render(placeholderReasonMessage(reason), pageSize, screenSize.width, scale);
  if (!bitmap) return std::nullopt;
  auto jpeg = platform::jpegRepresentation(*bitmap, 1.0);
  if (!jpeg || jpeg->empty()) return std::nullopt;
  return std::string(jpeg->begin(), jpeg->end());
}

std::optional<std::string> ImagePlaceholderBuilder::fallbackPlaceholder() {
  auto bytes = platform::base64Decode(kPlaceholderFallbackBase64);
  if (!bytes || bytes->empty()) return std::nullopt;
  return bytes;
}

}  // namespace obx
