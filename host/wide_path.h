// Paths as the module takes them: UTF-16 text. Checks come by the million,
// so ASCII, most paths, is widened without decoding, sixteen bytes at a time.
#ifndef VOR_HOST_WIDE_PATH_H_
#define VOR_HOST_WIDE_PATH_H_

#include <cstddef>
#include <string_view>

#include "vor/utf.h"

namespace vor::host {

// `text` widened into `out` (text.size() units) when it is all ASCII; false
// otherwise, `out` then holding a part of it.
bool WidenAscii(std::string_view text, char16_t* out);

// Appends `text` (UTF-8) to `out` (a UTF-16 string of any allocator) as
// UTF-16; false, with `out` as it was, when `text` is not valid UTF-8.
template <class U16String>
bool AppendWide(std::string_view text, U16String& out) {
  const std::size_t start = out.size();
  out.resize(start + text.size());  // UTF-16 never takes more units than UTF-8 takes bytes
  if (WidenAscii(text, out.data() + start)) return true;
  std::size_t n = start;
  if (utf::Utf8ToUtf16(text, [&out, &n](char16_t c) { out[n++] = c; })) {
    out.resize(n);
    return true;
  }
  out.resize(start);
  return false;
}

}  // namespace vor::host

#endif  // VOR_HOST_WIDE_PATH_H_
