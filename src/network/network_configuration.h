// NetworkConfiguration: the network core's own copy of Common, kept current by observing the
// configuration on the core's queue. `common()` may be read from any thread.
#pragma once

#include <memory>
#include <mutex>  // read_write_lock.h uses std::unique_lock without including it

#include "base/read_write_lock.h"
#include "config/sdk_configuration.h"

namespace obx {

class NetworkConfiguration {
 public:
  // Takes the configuration's current Common; `observe` starts following it on `queue`.
  NetworkConfiguration(std::shared_ptr<SDKConfiguration> configuration, std::shared_ptr<platform::DispatchQueue> queue);
  ~NetworkConfiguration();
  NetworkConfiguration(const NetworkConfiguration&) = delete;
  NetworkConfiguration& operator=(const NetworkConfiguration&) = delete;

  Common common() const { return common_->get(); }
  void observe();

 private:
  std::shared_ptr<SDKConfiguration> configuration_;
  std::shared_ptr<ReadWriteLock<Common>> common_;
  std::shared_ptr<ObserverValue<Common>> observer_;
};

}  // namespace obx
