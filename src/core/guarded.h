// The one place where an exhausted heap becomes an error code.

#pragma once

#include <new>

#include <windows.h>

#include <quillet/error_codes.h>

namespace quillet {

/// Runs the body of an operation, which allocates as it likes and answers its error code.
/// @return the body's code, or common_error::notEnoughMemory when an allocation failed.
template <class Operation>
int guarded(Operation&& operation) noexcept {
  try {
    return operation();
  } catch (const std::bad_alloc&) {
    return common_error::notEnoughMemory;
  }
}

/// The same for the body of a COM method.
/// @return the body's result, or E_OUTOFMEMORY when an allocation failed.
template <class Method>
HRESULT guardedMethod(Method&& method) noexcept {
  try {
    return method();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace quillet
