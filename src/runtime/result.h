// The texts of the result codes; the codes and Failed/Succeeded are public, in
// vor/result.h. result.cc needs nothing but these two headers, so a host
// library can compile the same table.
#ifndef VOR_RUNTIME_RESULT_H_
#define VOR_RUNTIME_RESULT_H_

#include <string_view>

#include "vor/result.h"

namespace zel {

// The text of `code`, "Unknown result code" when it has none. Never fails,
// never allocates; the view refers to static storage.
std::string_view GetResultCodeMessage(result_t code);
std::string_view GetFrameworkCodeMessage(result_t code);
std::string_view GetPlatformCodeMessage(result_t code);

}  // namespace zel

#endif  // VOR_RUNTIME_RESULT_H_
