// FunctionRef<R(Args...)>: a non-owning reference to a callable, for
// parameters that are called during the call and not kept. A std::function
// made from a lambda with more than two captures allocates it with operator
// new, which in a host linked with the collector's C++ support is scanned,
// uncollectable memory taken under the collector's lock and freed explicitly:
// tens of nanoseconds on every probability and closed-form evaluation.
//
// The referenced callable must outlive the FunctionRef: pass lambdas
// directly as arguments, never store a FunctionRef past the call.
#ifndef QUARN_PLATFORM_HOST_FUNCTION_REF_H
#define QUARN_PLATFORM_HOST_FUNCTION_REF_H

#include <memory>
#include <type_traits>
#include <utility>

namespace quarn {

template <class Signature>
class FunctionRef;

template <class R, class... Args>
class FunctionRef<R(Args...)> {
 public:
  template <class F>
    requires(!std::is_same_v<std::remove_cvref_t<F>, FunctionRef> && std::is_invocable_r_v<R, F&, Args...>)
  FunctionRef(F&& f)  // NOLINT(google-explicit-constructor): used as a parameter type
      : object_(const_cast<void*>(static_cast<const void*>(std::addressof(f)))),
        call_([](void* object, Args... args) -> R {
          return (*static_cast<std::remove_reference_t<F>*>(object))(std::forward<Args>(args)...);
        }) {}

  R operator()(Args... args) const { return call_(object_, std::forward<Args>(args)...); }

 private:
  void* object_;
  R (*call_)(void*, Args...);
};

}  // namespace quarn

#endif  // QUARN_PLATFORM_HOST_FUNCTION_REF_H
