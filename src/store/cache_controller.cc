#include "store/cache_controller.h"

#include "store/file_storage.h"
#include "store/files/security.h"

namespace obx {

CacheController::CacheController(std::shared_ptr<CacheRepository> repository) : repository_(std::move(repository)) {}

std::shared_ptr<CacheController> CacheController::make(const std::shared_ptr<platform::DispatchQueue>& queue) {
  auto storage = FileStorage::make(queue, std::make_shared<Security>());
  return std::make_shared<CacheController>(std::make_shared<CacheRepository>(storage));
}

std::optional<std::string> CacheController::read(const std::string& key) { return repository_->read(key); }

void CacheController::saveConfiguration(const Json& value, const std::string& key) {
  repository_->saveConfiguration(value, key);
}

void CacheController::saveLeadID(const std::optional<std::string>& value, const std::string& key) {
  repository_->saveLeadID(value, key);
}

void CacheController::saveImage(std::string bytes, const std::string& key) {
  repository_->saveImage(std::move(bytes), key);
}

void CacheController::save(const std::string& key, const std::vector<std::uint8_t>& bytes) {
  repository_->saveImage(std::string(bytes.begin(), bytes.end()), key);
}

}  // namespace obx
