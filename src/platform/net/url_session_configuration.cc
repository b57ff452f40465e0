#include "platform/net/url_session_configuration.h"

#include <mutex>

namespace obx::platform {
namespace {

std::mutex defaultMutex;

URLSessionConfiguration& processDefault() {
  static URLSessionConfiguration configuration;
  return configuration;
}

}  // namespace

URLSessionConfiguration URLSessionConfiguration::defaultSessionConfiguration() {
  std::lock_guard lock(defaultMutex);
  return processDefault();
}

void URLSessionConfiguration::setDefaultSessionConfiguration(const URLSessionConfiguration& configuration) {
  std::lock_guard lock(defaultMutex);
  processDefault() = configuration;
}

}  // namespace obx::platform
