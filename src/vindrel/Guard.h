// The edge of the library: whatever is thrown inside comes out as an error.
#pragma once

#include "vindrel/result.hpp"

#include <exception>
#include <new>
#include <type_traits>

namespace vindrel {

inline Error outOfMemory() {
  return {ErrorCode::OutOfMemory, "out of memory"}; // short enough to need none itself
}

inline Error invalidArgument(std::string message) {
  return {ErrorCode::InvalidArgument, std::move(message)};
}

// Calls body(), which returns a Result.
template <class Body>
auto guarded(Body &&body) noexcept -> std::invoke_result_t<Body> {
  try {
    return body();
  } catch (const std::bad_alloc &) {
    return outOfMemory();
  } catch (...) {
    return Error{ErrorCode::Internal, "internal error"};
  }
}

} // namespace vindrel
