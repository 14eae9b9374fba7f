// The one place where an exhausted heap becomes an error code.

#pragma once

#include <new>
#include <stdexcept>

#include <windows.h>

#include <quillet/error_codes.h>

namespace quillet {

/// Runs the body of an operation, which allocates as it likes.
/// @return the body's result, or `shortage` when an allocation failed or asked for more than there can be.
template <class Result, class Body>
Result guardedBy(Result shortage, Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return shortage;
  } catch (const std::length_error&) {
    return shortage;
  }
}

/// Runs the body of an operation that answers an error code.
template <class Operation>
int guarded(Operation&& operation) noexcept {
  return guardedBy<int>(common_error::notEnoughMemory, operation);
}

/// Runs the body of a COM method.
template <class Method>
HRESULT guardedMethod(Method&& method) noexcept {
  return guardedBy<HRESULT>(E_OUTOFMEMORY, method);
}

}  // namespace quillet
