// The result code of the exception being handled, for the session's and the
// C API's catch-alls.
#ifndef VOR_HOST_EXCEPTION_CODE_H_
#define VOR_HOST_EXCEPTION_CODE_H_

#include <new>

#include "vor/result.h"

namespace vor::host {

// Out of memory, or anything else, which is not out of memory. Call only
// inside a catch block.
inline zel::result_t CurrentExceptionCode() noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return VOR_E_OUT_OF_MEMORY;
  } catch (...) {
    return VOR_E_UNKNOWN_EXCEPTION;
  }
}

}  // namespace vor::host

#endif  // VOR_HOST_EXCEPTION_CODE_H_
