// Class: a run-time class with a name, a superclass and a method table, in the manner of the
// platform's object run-time. Platform types register their class once (see runtime.h); a host's
// C++ subclass of a platform type gets a class of its own the first time one of its instances is
// asked for it, named after the C++ type, with the platform class it derives from as superclass.
// Classes live until the process ends. All operations may be called from any thread.
#pragma once

#include <memory>
#include <shared_mutex>
#include <string>
#include <vector>

#include "platform/runtime/bundle.h"
#include "platform/runtime/method.h"

namespace obx::platform {

class Class {
 public:
  Class(std::string name, Class* superclass, std::shared_ptr<const Bundle> bundle)
      : name_(std::move(name)), superclass_(superclass), bundle_(std::move(bundle)) {}
  Class(const Class&) = delete;
  Class& operator=(const Class&) = delete;

  const std::string& name() const { return name_; }
  Class* superclass() const { return superclass_; }
  const std::shared_ptr<const Bundle>& bundle() const { return bundle_; }

  // `class_copyMethodList`: the methods of this class's own table, in the order they were added.
  // Methods inherited from superclasses are not in it.
  std::vector<Method*> copyMethodList() const;
  // `class_addMethod`: adds `selector` to this class's own table. Returns null, and changes
  // nothing, when the table already has that selector.
  Method* addMethod(const Selector& selector, IMP implementation);
  // `class_getInstanceMethod`: the method that answers `selector` for instances of this class,
  // looked up through the superclasses; null when none has it.
  Method* instanceMethod(const Selector& selector) const;
  // This class or one of its superclasses is `other`.
  bool isSubclassOfClass(const Class* other) const;

 private:
  const std::string name_;
  Class* const superclass_;
  const std::shared_ptr<const Bundle> bundle_;
  mutable std::shared_mutex mutex_;
  std::vector<std::unique_ptr<Method>> methods_;
};

}  // namespace obx::platform
