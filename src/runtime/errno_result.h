// Maps C library error numbers to result codes, for every caller of libc.
#ifndef VOR_RUNTIME_ERRNO_RESULT_H_
#define VOR_RUNTIME_ERRNO_RESULT_H_

#include "vor/object.h"

namespace zel {

// 0 gives 0; unmapped numbers below 65536 give 0x80060000 | errno.
result_t ErrnoToResult(int error);

}  // namespace zel

#endif  // VOR_RUNTIME_ERRNO_RESULT_H_
