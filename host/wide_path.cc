#include "host/wide_path.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "vor/utf.h"

namespace vor::host {
namespace {

// `text` widened into `out` when it is all ASCII; false otherwise. Sixteen
// bytes at a time: paths checked in bulk spend their time here otherwise.
bool WidenAscii(std::string_view text, char16_t* out) {
  std::size_t i = 0;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  for (; i + 16 <= text.size(); i += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + i));
    if (_mm_movemask_epi8(bytes) != 0) return false;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_unpacklo_epi8(bytes, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i + 8), _mm_unpackhi_epi8(bytes, zero));
  }
#endif
  for (; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c >= 0x80) return false;
    out[i] = c;
  }
  return true;
}

}  // namespace

zel::result_t WidePath::Assign(std::string_view utf8) {
  // UTF-16 never takes more units than UTF-8 takes bytes.
  data_ = inline_;
  if (utf8.size() >= kInline) {
    heap_.reset(new char16_t[utf8.size() + 1]);
    data_ = heap_.get();
  }
  if (WidenAscii(utf8, data_)) {
    data_[utf8.size()] = u'\0';
    return VOR_OK;
  }
  std::size_t n = 0;
  if (!utf::Utf8ToUtf16(utf8, [&](char16_t c) { data_[n++] = c; })) {
    data_[0] = u'\0';
    return VOR_E_INVALID_SYMBOL;
  }
  data_[n] = u'\0';
  return VOR_OK;
}

}  // namespace vor::host
