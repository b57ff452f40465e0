// Swizzler<Signature>: replaces the implementation of a platform method with a stand-in that calls
// the replaced implementation with the arguments it got and then lets the owner report. Each user
// fixes the signature of one method family: `void(platform::Object&, bool)` for the appearance
// callbacks, and so on. The method is looked up by walking the class and its superclasses with
// their method lists, so a replacement on a platform class sees calls on every subclass.
//
// The destructor puts every replaced implementation back. When another replacement was installed
// over ours meanwhile, ours cannot be taken out of the chain; it then stays as a pure pass-through
// that reports nothing. Calling through to the original therefore always works.
// swizzle() may be called from any thread; stand-ins run wherever the platform calls the method.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "platform/runtime/runtime.h"

namespace obx {

// A replaced method and the class it was taken from; equal when both are.
struct SwizzledMethod {
  platform::Method* method = nullptr;
  platform::Class* type = nullptr;
  bool operator==(const SwizzledMethod&) const = default;
  bool operator<(const SwizzledMethod& other) const {
    return std::pair(method, type) < std::pair(other.method, other.type);
  }
};

template <typename Signature>
class Swizzler;

template <typename Result, typename... Args>
class Swizzler<Result(platform::Object&, Args...)> {
 public:
  using Signature = Result(platform::Object&, Args...);
  using Function = std::function<Signature>;
  // Given the implementation being replaced, makes the body that stands in for it. The body should
  // call `original` with the arguments it got, then report.
  using Replacement = std::function<Function(Function original)>;

  Swizzler() = default;
  Swizzler(const Swizzler&) = delete;
  Swizzler& operator=(const Swizzler&) = delete;
  virtual ~Swizzler() { unswizzleAll(); }

  // Replaces `selector` as found from `cls` upwards. False, with nothing changed, when no class of
  // the chain has it, when its implementation has another signature, or when this swizzler has
  // replaced it already.
  bool swizzle(platform::Class* cls, const platform::Selector& selector, const Replacement& makeReplacement) {
    SwizzledMethod key;
    for (platform::Class* each = cls; each != nullptr && key.method == nullptr; each = each->superclass()) {
      for (platform::Method* method : platform::classCopyMethodList(each)) {
        if (platform::methodGetName(method) == selector) {
          key = SwizzledMethod{method, each};
          break;
        }
      }
    }
    if (key.method == nullptr) return false;

    std::lock_guard lock(mutex_);
    if (impCache_.count(key) != 0) return false;
    platform::IMP original = platform::methodGetImplementation(key.method);
    const Function* originalBody = original ? original->template as<Signature>() : nullptr;
    if (originalBody == nullptr || !*originalBody) return false;
    Function callThrough = *originalBody;
    Function hooked = makeReplacement(callThrough);
    std::weak_ptr<void> armed = armed_;
    platform::IMP standIn = platform::Implementation::make<Signature>(
        [armed, callThrough, hooked](platform::Object& receiver, Args... args) -> Result {
          if (!armed.expired() && hooked) return hooked(receiver, std::forward<Args>(args)...);
          return callThrough(receiver, std::forward<Args>(args)...);
        });
    impCache_.emplace(key, original);
    installed_.emplace(key, standIn);
    platform::methodSetImplementation(key.method, standIn);
    return true;
  }

  // Puts back every implementation replaced by this swizzler and disarms its stand-ins.
  void unswizzleAll() {
    std::map<SwizzledMethod, platform::IMP> cache;
    std::map<SwizzledMethod, platform::IMP> installed;
    {
      std::lock_guard lock(mutex_);
      armed_ = std::make_shared<char>(0);  // stand-ins made so far see theirs expire
      cache.swap(impCache_);
      installed.swap(installed_);
    }
    for (auto& [key, original] : cache) {
      platform::IMP current = platform::methodGetImplementation(key.method);
      if (current == installed[key]) platform::methodSetImplementation(key.method, original ? original : current);
    }
  }

  // The number of methods replaced now.
  std::size_t swizzledCount() const {
    std::lock_guard lock(mutex_);
    return impCache_.size();
  }

 private:
  mutable std::mutex mutex_;  // the object's monitor, guarding the cache
  std::map<SwizzledMethod, platform::IMP> impCache_;
  std::map<SwizzledMethod, platform::IMP> installed_;
  std::shared_ptr<void> armed_ = std::make_shared<char>(0);
};

}  // namespace obx
