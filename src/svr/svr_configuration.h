// SVRConfiguration: replay's own copy of Common, taken at construction and replaced on every change
// of the configuration, so every reader sees the latest values. `common()` may be read from any
// thread; the copy is updated on the queue given to the constructor.
#pragma once

#include <memory>
#include <mutex>  // read_write_lock.h uses std::unique_lock without including it

#include "base/observer_value.h"
#include "base/read_write_lock.h"
#include "config/sdk_configuration.h"
#include "platform/dispatch/dispatch_queue.h"

namespace obx {

class SVRConfiguration {
 public:
  // `configuration` may be null (tests): the copy then stays as set.
  SVRConfiguration(std::shared_ptr<SDKConfiguration> configuration, std::shared_ptr<platform::DispatchQueue> queue);
  ~SVRConfiguration();
  SVRConfiguration(const SVRConfiguration&) = delete;
  SVRConfiguration& operator=(const SVRConfiguration&) = delete;

  Common common() const { return common_->get(); }
  void setCommon(Common common) { common_->set(std::move(common)); }

 private:
  std::shared_ptr<SDKConfiguration> configuration_;
  std::shared_ptr<ReadWriteLock<Common>> common_;
  std::shared_ptr<ObserverValue<Common>> observer_;
};

}  // namespace obx
