#include "runtime/text.h"

#include "runtime/result.h"
#include "vor/utf.h"

namespace zel {

std::u16string_view WideView(const char16_t* text) {
  return text != nullptr ? std::u16string_view(text) : std::u16string_view();
}

result_t ToUtf8(std::u16string_view in, string& out) noexcept {
  try {
    out.clear();
    out.reserve(in.size());
    if (!vor::utf::Utf16ToUtf8(in, [&](char c) { out += c; })) return kErrInvalidSymbol;
    return kOk;
  } catch (...) {
    return kErrOutOfMemory;
  }
}

}  // namespace zel
