// UTF-16 <-> UTF-8 conversion for the text that crosses the host boundary,
// and the escaping that shows any text on one safe line. Header-only and
// allocation-free: the caller supplies a sink that takes one code unit at a
// time, so hosts and the module convert into whatever buffer they own.
// Invalid input (an unpaired surrogate, a malformed UTF-8 sequence) makes the
// conversion fail; nothing is replaced silently.
#ifndef VOR_UTF_H_
#define VOR_UTF_H_

#include <cstddef>
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

// Decodes the UTF-8 sequence that starts `in` into `c`; returns its length in
// bytes, or 0 for a malformed, overlong or out-of-range sequence, an encoded
// surrogate, or an empty `in`.
constexpr std::size_t DecodeUtf8(std::string_view in, std::uint32_t& c) {
  if (in.empty()) return 0;
  const std::uint32_t b0 = static_cast<unsigned char>(in[0]);
  std::size_t extra;
  if (b0 < 0x80) {
    c = b0;
    return 1;
  } else if ((b0 & 0xe0) == 0xc0) {
    c = b0 & 0x1f, extra = 1;
  } else if ((b0 & 0xf0) == 0xe0) {
    c = b0 & 0x0f, extra = 2;
  } else if ((b0 & 0xf8) == 0xf0) {
    c = b0 & 0x07, extra = 3;
  } else {
    return 0;
  }
  if (in.size() <= extra) return 0;
  for (std::size_t k = 1; k <= extra; ++k) {
    const std::uint32_t b = static_cast<unsigned char>(in[k]);
    if ((b & 0xc0) != 0x80) return 0;
    c = (c << 6) | (b & 0x3f);
  }
  constexpr std::uint32_t kMinForLength[] = {0, 0x80, 0x800, 0x10000};
  if (c < kMinForLength[extra] || c > 0x10ffff || (c >= 0xd800 && c <= 0xdfff)) return 0;
  return extra + 1;
}

// Calls put(char16_t) for each UTF-16 unit of `in`. Returns false at the first
// malformed, overlong or out-of-range sequence, or an encoded surrogate.
template <class Put>
constexpr bool Utf8ToUtf16(std::string_view in, Put&& put) {
  std::size_t i = 0;
  while (i < in.size()) {
    std::uint32_t c = 0;
    const std::size_t length = DecodeUtf8(in.substr(i), c);
    if (length == 0) return false;
    if (c >= 0x10000) {
      c -= 0x10000;
      put(static_cast<char16_t>(0xd800 + (c >> 10)));
      put(static_cast<char16_t>(0xdc00 + (c & 0x3ff)));
    } else {
      put(static_cast<char16_t>(c));
    }
    i += length;
  }
  return true;
}

// Calls put(char) for `in` as text that shows on one line and cannot steer a
// terminal: every control byte (below 0x20, and 0x7f), every byte that is
// not part of valid UTF-8, and the backslash itself are written as escapes
// (\n \r \t \\ \xNN), as C and `ls --quoting-style=escape` write them.
template <class Put>
constexpr void Escape(std::string_view in, Put&& put) {
  constexpr char kHex[] = "0123456789abcdef";
  for (std::size_t i = 0; i < in.size();) {
    const unsigned char c = static_cast<unsigned char>(in[i]);
    const char named = c == '\n' ? 'n' : c == '\r' ? 'r' : c == '\t' ? 't' : c == '\\' ? '\\' : 0;
    std::uint32_t code = 0;
    const std::size_t length = c < 0x80 ? 1 : DecodeUtf8(in.substr(i), code);
    if (named != 0) {
      put('\\');
      put(named);
      ++i;
    } else if (c < 0x20 || c == 0x7f || length == 0) {
      put('\\');
      put('x');
      put(kHex[c >> 4]);
      put(kHex[c & 0xf]);
      ++i;
    } else {
      for (const std::size_t end = i + length; i < end; ++i) put(in[i]);
    }
  }
}

}  // namespace vor::utf

#endif  // VOR_UTF_H_
