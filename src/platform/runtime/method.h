// Method: one entry of a class's method table, a selector and its current implementation. The
// implementation can be read and replaced from any thread; a call in progress keeps the body it
// started with.
#pragma once

#include <mutex>
#include <string>

#include "platform/runtime/implementation.h"

namespace obx::platform {

using Selector = std::string;

class Class;

class Method {
 public:
  Method(Selector name, IMP implementation, const Class* owner)
      : name_(std::move(name)), implementation_(std::move(implementation)), owner_(owner) {}
  Method(const Method&) = delete;
  Method& operator=(const Method&) = delete;

  // `method_getName`.
  const Selector& name() const { return name_; }
  // `method_getImplementation`.
  IMP implementation() const {
    std::lock_guard lock(mutex_);
    return implementation_;
  }
  // `method_setImplementation`: installs `implementation` and returns the one it replaced.
  IMP setImplementation(IMP implementation) {
    std::lock_guard lock(mutex_);
    std::swap(implementation_, implementation);
    return implementation;
  }
  // The class whose table holds this method.
  const Class* owner() const { return owner_; }

 private:
  const Selector name_;
  mutable std::mutex mutex_;
  IMP implementation_;
  const Class* owner_;
};

}  // namespace obx::platform
