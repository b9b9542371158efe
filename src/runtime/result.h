// The texts of the result codes, for the module's code: the one table and
// Failed/Succeeded are public, in vor/result.h.
#ifndef VOR_RUNTIME_RESULT_H_
#define VOR_RUNTIME_RESULT_H_

#include <string_view>

#include "vor/result.h"

namespace zel {

// The text of `code`, "Unknown result code" when it has none.
constexpr std::string_view GetResultCodeMessage(result_t code) { return ResultCodeText(code); }

}  // namespace zel

#endif  // VOR_RUNTIME_RESULT_H_
