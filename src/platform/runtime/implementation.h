// Implementation: the body of a method in the run-time's method tables, type-erased so that one
// table holds operations of any signature. The signature of every implementation is a plain
// function type whose first parameter is the receiver, `Object&`: `void(Object&, bool)` for
// `viewWillAppear:`, `void(Object&, const Event&)` for `sendEvent:`. An implementation never
// changes once made; replacing a method's body swaps the shared pointer.
#pragma once

#include <any>
#include <functional>
#include <memory>
#include <typeinfo>

namespace obx::platform {

class Object;
class Implementation;

// A method body, shared by the method table and whoever keeps it to call through later.
using IMP = std::shared_ptr<const Implementation>;

class Implementation {
 public:
  // `imp_implementationWithBlock`: wraps a callable of signature `Signature`.
  template <typename Signature>
  static IMP make(std::function<Signature> body) {
    return IMP(new Implementation(std::move(body)));
  }

  // The body as a callable of `Signature`, or null when the implementation has another signature.
  template <typename Signature>
  const std::function<Signature>* as() const {
    return std::any_cast<std::function<Signature>>(&body_);
  }

  const std::type_info& signature() const { return body_.type(); }

 private:
  template <typename Signature>
  explicit Implementation(std::function<Signature> body) : body_(std::move(body)) {}

  std::any body_;
};

// Makes the implementation of a method whose body is the member function `body` of `Self`. The
// receiver is cast down to `Self`; the run-time only dispatches a selector to instances of the class
// that registered it or of its subclasses.
template <typename Self, typename Result, typename... Args>
IMP implementationOf(Result (Self::*body)(Args...)) {
  return Implementation::make<Result(Object&, Args...)>(
      [body](Object& receiver, Args... args) -> Result {
        return (static_cast<Self&>(receiver).*body)(std::forward<Args>(args)...);
      });
}

}  // namespace obx::platform
