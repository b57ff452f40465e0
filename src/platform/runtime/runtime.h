// The object run-time: registration and lookup of classes, method tables, replacing a method's
// implementation, and sending a message through the tables. Operations the platform lets others
// observe (`viewWillAppear:`, `sendEvent:`, `setContentOffset:`, ...) are sent with sendMessage, so a
// replaced implementation sees every call on every instance of the class and of its subclasses.
// Everything here may be called from any thread.
#pragma once

#include <string>
#include <typeindex>
#include <vector>

#include "platform/runtime/class.h"
#include "platform/runtime/object.h"

namespace obx::platform {

// Registers a class. `type` ties it to a C++ type so that instances find it; `bundle` null means the
// main bundle. A type registers once: a second call for it returns its class. A name already held
// by another type is not shared: the new type gets its own class under the same name, and
// classFromString keeps answering the first.
Class* registerClass(const std::string& name, Class* superclass, std::type_index type,
                     std::shared_ptr<const Bundle> bundle = nullptr);
// `NSClassFromString` / `objc_getClass`: the class registered under `name`, or null.
Class* classFromString(const std::string& name);
// `NSStringFromClass`: the class's name; "nil" for null.
std::string stringFromClass(const Class* cls);
// The class of a C++ type, registering it under its own name with `superclass` when it has none yet.
Class* classForType(std::type_index type, Class* superclass);

// The platform's run-time functions under their own names, for code that follows the design.
std::vector<Method*> classCopyMethodList(const Class* cls);
inline const Selector& methodGetName(const Method* method) { return method->name(); }
inline IMP methodGetImplementation(const Method* method) { return method->implementation(); }
inline IMP methodSetImplementation(Method* method, IMP implementation) {
  return method->setImplementation(std::move(implementation));
}
inline std::any getAssociatedObject(const Object& object, AssociationKey key) {
  return object.associatedObject(key);
}
inline void setAssociatedObject(Object& object, AssociationKey key, std::any value, AssociationPolicy policy) {
  object.setAssociatedObject(key, std::move(value), policy);
}

// A C++ type name as the run-time shows it: "demo::HomeController" becomes "demo.HomeController".
std::string runtimeNameOfType(const std::type_info& type);

namespace detail {
template <typename Signature>
struct MessageSend;

template <typename Result, typename... Params>
struct MessageSend<Result(Params...)> {
  template <typename... Args>
  static Result send(Object& receiver, const Selector& selector, Args&&... args) {
    const Class* cls = receiver.getClass();
    Method* method = cls ? cls->instanceMethod(selector) : nullptr;
    if (method == nullptr) return Result();
    IMP implementation = method->implementation();
    const auto* body = implementation ? implementation->as<Result(Object&, Params...)>() : nullptr;
    if (body == nullptr || !*body) return Result();
    return (*body)(receiver, std::forward<Args>(args)...);
  }
};
}  // namespace detail

// Sends `selector` to `receiver` through its class's method table. `Signature` is the message's
// signature without the receiver, e.g. `void(bool)`. An unknown selector, or an implementation of
// another signature, does nothing and gives a value-initialised result.
template <typename Signature, typename... Args>
auto sendMessage(Object& receiver, const Selector& selector, Args&&... args) {
  return detail::MessageSend<Signature>::send(receiver, selector, std::forward<Args>(args)...);
}

}  // namespace obx::platform

// Declares `static Class* runtimeClass()` for a platform type `Type` registered as `Name` under
// `Super`. The type's constructor calls `setDeclaredClass(runtimeClass())`.
#define OBX_RUNTIME_CLASS(Type, Name, Super)                                                                 \
  static ::obx::platform::Class* runtimeClass() {                                                          \
    static ::obx::platform::Class* const cls = ::obx::platform::registerClass(Name, Super::runtimeClass(), \
                                                                              typeid(Type));               \
    return cls;                                                                                            \
  }
