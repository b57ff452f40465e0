// Object: the root of every run-time object (views, controllers, the application, sessions). An
// object knows its run-time class, answers `description`, and carries associated objects: values
// that other code attaches to it under a key, for the object's lifetime. Objects are always owned
// through std::shared_ptr so that weak references to them work.
#pragma once

#include <any>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/runtime/class.h"

namespace obx::platform {

// How an associated value is held, as the platform names it. Values are stored as copies of the
// std::any given; the policy is kept for callers that tell strong from weak holding by it.
enum class AssociationPolicy { assign, retainNonatomic, copyNonatomic, retain, copy };

// The key of an associated object: the address of a variable, as on the platform.
using AssociationKey = const void*;

class Object : public std::enable_shared_from_this<Object> {
 public:
  virtual ~Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  // The root class, "Object".
  static Class* runtimeClass();

  // `object_getClass`: the run-time class of the most derived type. A host's C++ subclass of a
  // platform type gets its own class on first use. Not meaningful inside a constructor.
  Class* getClass() const;
  // `isKindOfClass:`: the object's class is `cls` or a subclass of it.
  bool isKindOfClass(const Class* cls) const;
  bool isMemberOfClass(const Class* cls) const { return getClass() == cls; }

  // "<ClassName: 0x55d0c8a3e2a0>": unique among live objects, stable for the object's life.
  virtual std::string description() const;
  // The description with the object's state; what observers hash to notice a change.
  virtual std::string debugDescription() const { return description(); }
  // "0x55d0c8a3e2a0".
  std::string addressText() const;

  // `objc_getAssociatedObject`: the value under `key`, empty when there is none.
  std::any associatedObject(AssociationKey key) const;
  // `objc_setAssociatedObject`: an empty value removes the association.
  void setAssociatedObject(AssociationKey key, std::any value, AssociationPolicy policy);
  // The value under `key` as a `T`, absent when there is none or it is of another type.
  template <typename T>
  std::optional<T> associatedValue(AssociationKey key) const {
    std::any value = associatedObject(key);
    if (const T* typed = std::any_cast<T>(&value)) return *typed;
    return std::nullopt;
  }

  template <typename T>
  std::shared_ptr<T> sharedAs() {
    return std::static_pointer_cast<T>(shared_from_this());
  }
  template <typename T>
  std::shared_ptr<const T> sharedAs() const {
    return std::static_pointer_cast<const T>(shared_from_this());
  }

 protected:
  Object() : declaredClass_(runtimeClass()) {}
  // Constructors of platform types call this with their own class, so that a host's subclass of
  // them knows which platform class it derives from.
  void setDeclaredClass(Class* cls) { declaredClass_ = cls; }

 private:
  Class* declaredClass_;
  mutable std::mutex associationsMutex_;
  std::map<AssociationKey, std::pair<std::any, AssociationPolicy>> associations_;
};

}  // namespace obx::platform
