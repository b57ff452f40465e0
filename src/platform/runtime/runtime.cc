#include "platform/runtime/runtime.h"

#include <cxxabi.h>

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

namespace obx::platform {
namespace {

struct Registry {
  std::shared_mutex mutex;
  std::deque<std::unique_ptr<Class>> classes;
  std::unordered_map<std::string, Class*> byName;
  std::unordered_map<std::type_index, Class*> byType;
};

Registry& registry() {
  static Registry* const instance = new Registry();  // classes live until the process ends
  return *instance;
}

Class* registerLocked(Registry& reg, const std::string& name, Class* superclass, std::type_index type,
                      std::shared_ptr<const Bundle> bundle) {
  if (auto found = reg.byType.find(type); found != reg.byType.end()) return found->second;
  reg.classes.push_back(std::make_unique<Class>(name, superclass, std::move(bundle)));
  Class* cls = reg.classes.back().get();
  // A name already held by another type (a host's own class called "TabBarController") is refused:
  // the newcomer gets a class of its own with its own superclass, and lookup by name keeps
  // answering the first holder. Taking the holder's class would make the host's object pass for
  // the toolkit's.
  reg.byName.emplace(name, cls);
  reg.byType.emplace(type, cls);
  return cls;
}

}  // namespace

Class* registerClass(const std::string& name, Class* superclass, std::type_index type,
                     std::shared_ptr<const Bundle> bundle) {
  auto& reg = registry();
  std::unique_lock lock(reg.mutex);
  return registerLocked(reg, name, superclass, type, std::move(bundle));
}

Class* classFromString(const std::string& name) {
  auto& reg = registry();
  std::shared_lock lock(reg.mutex);
  auto found = reg.byName.find(name);
  return found == reg.byName.end() ? nullptr : found->second;
}

std::string stringFromClass(const Class* cls) { return cls ? cls->name() : "nil"; }

Class* classForType(std::type_index type, Class* superclass) {
  auto& reg = registry();
  {
    std::shared_lock lock(reg.mutex);
    if (auto found = reg.byType.find(type); found != reg.byType.end()) return found->second;
  }
  // Demangling outside the lock; another thread may register the same type meanwhile, and then
  // registerLocked returns its class.
  std::string name = [&] {
    int status = 0;
    char* demangled = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
    std::string text = (status == 0 && demangled) ? demangled : type.name();
    std::free(demangled);
    return text;
  }();
  std::string dotted;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (name.compare(i, 2, "::") == 0) {
      dotted += '.';
      ++i;
    } else {
      dotted += name[i];
    }
  }
  std::unique_lock lock(reg.mutex);
  return registerLocked(reg, dotted, superclass, type, nullptr);
}

std::string runtimeNameOfType(const std::type_info& type) {
  return stringFromClass(classForType(std::type_index(type), Object::runtimeClass()));
}

std::vector<Method*> classCopyMethodList(const Class* cls) {
  return cls ? cls->copyMethodList() : std::vector<Method*>{};
}

// Object

Class* Object::runtimeClass() {
  static Class* const cls = registerClass("Object", nullptr, typeid(Object));
  return cls;
}

Class* Object::getClass() const { return classForType(std::type_index(typeid(*this)), declaredClass_); }

bool Object::isKindOfClass(const Class* cls) const {
  const Class* own = getClass();
  return own != nullptr && own->isSubclassOfClass(cls);
}

std::string Object::addressText() const {
  // What "%p" prints for an object, which is never null, without printf: views' descriptions are
  // made at every frame.
  char buffer[2 + 2 * sizeof(std::uintptr_t)] = {'0', 'x'};
  auto result = std::to_chars(buffer + 2, buffer + sizeof buffer, reinterpret_cast<std::uintptr_t>(this), 16);
  return std::string(buffer, result.ptr);
}

std::string Object::description() const { return "<" + stringFromClass(getClass()) + ": " + addressText() + ">"; }

std::any Object::associatedObject(AssociationKey key) const {
  std::lock_guard lock(associationsMutex_);
  auto found = associations_.find(key);
  return found == associations_.end() ? std::any() : found->second.first;
}

void Object::setAssociatedObject(AssociationKey key, std::any value, AssociationPolicy policy) {
  std::any released;  // destroyed after the lock is let go: it may hold the last reference to an object
  std::lock_guard lock(associationsMutex_);
  auto found = associations_.find(key);
  if (!value.has_value()) {
    if (found != associations_.end()) {
      released = std::move(found->second.first);
      associations_.erase(found);
    }
    return;
  }
  if (found != associations_.end()) {
    released = std::move(found->second.first);
    found->second = {std::move(value), policy};
  } else {
    associations_.emplace(key, std::make_pair(std::move(value), policy));
  }
}

}  // namespace obx::platform
