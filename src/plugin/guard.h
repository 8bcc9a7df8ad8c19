// Turning failures into host exceptions.
//
// No failure may leave a registered function as a native exception: the host cannot catch one.
// Every row of the method tables points at Guard<&Function>::Call, which runs the function and
// turns a standard exception into the matching host exception (RaiseRuntimeException) and anything
// else into a "RuntimeException"; the function then returns its empty result (nil, 0 or false).
#pragma once

#include <cstdint>
#include <exception>
#include <type_traits>

#include "plugin/host_types.h"

namespace zyl {

// Raises a new instance of className (or "RuntimeException" when that class cannot be made)
// with the given message and error number. Nothing is raised when no instance can be made.
void RaiseException(const char* className, REALstringStruct* message, int64_t errorNumber) noexcept;
// The same with a zero-terminated message, always built as UTF-8 (ASCII reads the same): the
// encoding argument is accepted and deliberately ignored.
void RaiseException(const char* className, const char* message, uint32_t encoding,
                    int64_t errorNumber) noexcept;
void RaiseException(const char* className, const char* message, uint32_t encoding) noexcept;

// A caught standard exception as a host exception: allocation failures become
// "OutOfMemoryException", range, out-of-range, overflow and underflow errors
// "OutOfBoundsException", everything else "RuntimeException".
void RaiseRuntimeException(const std::exception& exception) noexcept;

// What the guard does with a throw that is not a standard exception.
void RaiseUnnamedException() noexcept;

template <typename R>
R EmptyResult() {
  if constexpr (!std::is_void_v<R>) return R{};
}

// Runs body() and converts anything it throws; returns body's result or its empty result.
template <typename Body>
auto Guarded(Body&& body) noexcept -> decltype(body()) {
  using R = decltype(body());
  try {
    return body();
  } catch (const std::exception& e) {
    RaiseRuntimeException(e);
  } catch (...) {
    RaiseUnnamedException();
  }
  return EmptyResult<R>();
}

template <auto Function>
struct Guard;

template <typename R, typename... Args, R (*Function)(Args...)>
struct Guard<Function> {
  static R Call(Args... args) noexcept {
    return Guarded([&]() -> R { return Function(args...); });
  }
};

}  // namespace zyl
