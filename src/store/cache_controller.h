// CacheController: the SDK's door to the on-disk cache (CacheRepository): the live configuration
// under "config", the lead ID under "leadID", placeholder images under "<number>-portrait" and
// "<number>-landscape". Saves are queued on "obx.ombrix.read-write"; reads wait for them. Any
// thread; nothing throws.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "config/configuration_cache.h"
#include "platform/dispatch/dispatch_queue.h"
#include "store/cache_repository.h"

namespace obx {

class CacheController : public ConfigurationCache {
 public:
  explicit CacheController(std::shared_ptr<CacheRepository> repository);

  // A CacheController over a Security, FileReader, FileWriter, DataReader and DataWriter on `queue`,
  // and a FileStorage of the two.
  static std::shared_ptr<CacheController> make(const std::shared_ptr<platform::DispatchQueue>& queue);

  // The entry's bytes, or nothing.
  std::optional<std::string> read(const std::string& key) override;
  void saveConfiguration(const Json& value, const std::string& key);
  void saveLeadID(const std::optional<std::string>& value, const std::string& key);
  void saveImage(std::string bytes, const std::string& key);
  // Raw bytes under `key` (an already encoded configuration, an image).
  void save(const std::string& key, const std::vector<std::uint8_t>& bytes) override;

  CacheRepository& repository() { return *repository_; }

 private:
  std::shared_ptr<CacheRepository> repository_;
};

}  // namespace obx
