// Turns the exception in flight into a result code and one level-300 trace line.
#ifndef VOR_RUNTIME_RESULT_FROM_EXCEPTION_H_
#define VOR_RUNTIME_RESULT_FROM_EXCEPTION_H_

#include <string_view>

#include "runtime/trace.h"

namespace zel {

// Call inside a catch handler. Writes the tracer's prefix, `site` (such as
// "Exception caught at line 160 => "), a blank and the exception's text, then
// the texts of nested exceptions on the same line. Never returns a success:
// a success code carried by the exception gives 0x80000152.
// The numbers in those "line N" sites are fixed words of the trace format that
// log readers match, not line numbers of this source: never "correct" them.
result_t ResultFromCurrentException(const Tracer& tracer, std::string_view site) noexcept;

}  // namespace zel

#endif  // VOR_RUNTIME_RESULT_FROM_EXCEPTION_H_
