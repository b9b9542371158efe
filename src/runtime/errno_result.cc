#include "runtime/errno_result.h"

#include "runtime/result.h"

namespace zel {

result_t ErrnoToResult(int error) { return vor_result_from_errno(error); }

}  // namespace zel
