#include "host/wide_path.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "vor/utf.h"

namespace vor::host {

bool AppendWide(std::string_view text, std::u16string& out) {
  const std::size_t start = out.size();
  out.resize(start + text.size());
  char16_t* to = out.data() + start;
  std::size_t i = 0;
  bool ascii = true;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  for (; i + 16 <= text.size(); i += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + i));
    if (_mm_movemask_epi8(bytes) != 0) {
      ascii = false;
      break;
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i), _mm_unpacklo_epi8(bytes, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i + 8), _mm_unpackhi_epi8(bytes, zero));
  }
#endif
  for (; ascii && i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c >= 0x80) ascii = false;
    to[i] = c;
  }
  if (ascii) return true;
  out.resize(start);
  if (utf::Utf8ToUtf16(text, [&](char16_t c) { out.push_back(c); })) return true;
  out.resize(start);
  return false;
}

}  // namespace vor::host
