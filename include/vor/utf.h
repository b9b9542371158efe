// UTF-16 <-> UTF-8 conversion for the text that crosses the host boundary.
// Header-only and allocation-free: the caller supplies a sink that takes one
// code unit at a time, so hosts and the module convert into whatever buffer
// they own. Invalid input (an unpaired surrogate, a malformed UTF-8 sequence)
// makes the conversion fail; nothing is replaced silently.
#ifndef VOR_UTF_H_
#define VOR_UTF_H_

#include <cstdint>
#include <string_view>

namespace vor::utf {

// Calls put(char) for each UTF-8 byte of `in`. Returns false at the first
// unpaired surrogate (the bytes before it have been put).
template <class Put>
constexpr bool Utf16ToUtf8(std::u16string_view in, Put&& put) {
  for (std::size_t i = 0; i < in.size(); ++i) {
    std::uint32_t c = in[i];
    if (c < 0x80) {
      put(static_cast<char>(c));
      continue;
    }
    if (c >= 0xd800 && c <= 0xdfff) {
      if (c > 0xdbff || i + 1 == in.size()) return false;
      std::uint32_t low = in[i + 1];
      if (low < 0xdc00 || low > 0xdfff) return false;
      c = 0x10000 + ((c - 0xd800) << 10) + (low - 0xdc00);
      ++i;
    }
    if (c < 0x800) {
      put(static_cast<char>(0xc0 | (c >> 6)));
    } else if (c < 0x10000) {
      put(static_cast<char>(0xe0 | (c >> 12)));
      put(static_cast<char>(0x80 | ((c >> 6) & 0x3f)));
    } else {
      put(static_cast<char>(0xf0 | (c >> 18)));
      put(static_cast<char>(0x80 | ((c >> 12) & 0x3f)));
      put(static_cast<char>(0x80 | ((c >> 6) & 0x3f)));
    }
    put(static_cast<char>(0x80 | (c & 0x3f)));
  }
  return true;
}

// Calls put(char16_t) for each UTF-16 unit of `in`. Returns false at the first
// malformed, overlong or out-of-range sequence, or an encoded surrogate.
template <class Put>
constexpr bool Utf8ToUtf16(std::string_view in, Put&& put) {
  std::size_t i = 0;
  while (i < in.size()) {
    const std::uint32_t b0 = static_cast<unsigned char>(in[i]);
    std::uint32_t c;
    std::size_t extra;
    if (b0 < 0x80) {
      put(static_cast<char16_t>(b0));
      ++i;
      continue;
    } else if ((b0 & 0xe0) == 0xc0) {
      c = b0 & 0x1f, extra = 1;
    } else if ((b0 & 0xf0) == 0xe0) {
      c = b0 & 0x0f, extra = 2;
    } else if ((b0 & 0xf8) == 0xf0) {
      c = b0 & 0x07, extra = 3;
    } else {
      return false;
    }
    if (in.size() - i <= extra) return false;
    for (std::size_t k = 1; k <= extra; ++k) {
      const std::uint32_t b = static_cast<unsigned char>(in[i + k]);
      if ((b & 0xc0) != 0x80) return false;
      c = (c << 6) | (b & 0x3f);
    }
    constexpr std::uint32_t kMinForLength[] = {0, 0x80, 0x800, 0x10000};
    if (c < kMinForLength[extra] || c > 0x10ffff || (c >= 0xd800 && c <= 0xdfff)) {
      return false;
    }
    if (c >= 0x10000) {
      c -= 0x10000;
      put(static_cast<char16_t>(0xd800 + (c >> 10)));
      put(static_cast<char16_t>(0xdc00 + (c & 0x3ff)));
    } else {
      put(static_cast<char16_t>(c));
    }
    i += extra + 1;
  }
  return true;
}

}  // namespace vor::utf

#endif  // VOR_UTF_H_
