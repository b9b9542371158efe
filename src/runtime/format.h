// Number formatting shared by trace lines and exception descriptions.
#ifndef VOR_RUNTIME_FORMAT_H_
#define VOR_RUNTIME_FORMAT_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "vor/object.h"

namespace zel {

// Lower case in both halves, so upper-case hex never occurs.
inline constexpr char kHexDigits[] = "0123456789abcdef0123456789abcdef";

// Lower-case hex without padding; the value 0 is "0".
struct Hex {
  std::uint64_t value;
};
// "0x" and the pointer value in lower-case hex; null is "0x0".
struct Ptr {
  const void* value;
};

// Writes `value` in `base` (10 or 16) ending at `end`; returns the first digit.
inline char* FormatUnsigned(std::uint64_t value, unsigned base, char* end) {
  do {
    *--end = kHexDigits[value % base];
    value /= base;
  } while (value != 0);
  return end;
}

// Exactly "0x" and eight zero-padded lower-case digits.
struct CodeText {
  char text[11];
  std::string_view view() const { return {text, 10}; }
};
inline CodeText FormatCode(result_t code) {
  CodeText out{};
  out.text[0] = '0';
  out.text[1] = 'x';
  for (int i = 0; i < 8; ++i) out.text[9 - i] = kHexDigits[(code >> (4 * i)) & 0xf];
  return out;
}

}  // namespace zel

#endif  // VOR_RUNTIME_FORMAT_H_
