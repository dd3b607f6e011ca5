#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace platform {

// A callable that the callee uses during the call only. Allocates nothing.
template <class Signature>
class FunctionRef;

template <class Result, class... Arguments>
class FunctionRef<Result(Arguments...)> {
 public:
  template <class Callable,
            class = std::enable_if_t<!std::is_same_v<std::decay_t<Callable>, FunctionRef>>>
  FunctionRef(Callable&& callable)  // implicit, so that a lambda can be passed as it stands
      : object_(const_cast<void*>(static_cast<const void*>(std::addressof(callable)))),
        call_([](void* object, Arguments... arguments) -> Result {
          using Target = std::remove_reference_t<Callable>;
          return (*static_cast<Target*>(object))(std::forward<Arguments>(arguments)...);
        }) {}

  Result operator()(Arguments... arguments) const {
    return call_(object_, std::forward<Arguments>(arguments)...);
  }

 private:
  void* object_;
  Result (*call_)(void*, Arguments...);
};

}  // namespace platform
