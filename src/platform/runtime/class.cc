#include "platform/runtime/class.h"

#include <mutex>

namespace obx::platform {

std::vector<Method*> Class::copyMethodList() const {
  std::shared_lock lock(mutex_);
  std::vector<Method*> list;
  list.reserve(methods_.size());
  for (const auto& method : methods_) list.push_back(method.get());
  return list;
}

Method* Class::addMethod(const Selector& selector, IMP implementation) {
  std::unique_lock lock(mutex_);
  for (const auto& method : methods_) {
    if (method->name() == selector) return nullptr;
  }
  methods_.push_back(std::make_unique<Method>(selector, std::move(implementation), this));
  return methods_.back().get();
}

Method* Class::instanceMethod(const Selector& selector) const {
  for (const Class* cls = this; cls != nullptr; cls = cls->superclass_) {
    std::shared_lock lock(cls->mutex_);
    for (const auto& method : cls->methods_) {
      if (method->name() == selector) return method.get();
    }
  }
  return nullptr;
}

bool Class::isSubclassOfClass(const Class* other) const {
  for (const Class* cls = this; cls != nullptr; cls = cls->superclass_) {
    if (cls == other) return true;
  }
  return false;
}

}  // namespace obx::platform
