#include "osinfo/text_split.h"

#include <new>

#include "runtime/result.h"

namespace vor {
namespace {

char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

std::string_view TrimSet(std::string_view text, std::string_view set) {
  if (set.empty()) return text;
  const std::size_t first = text.find_first_not_of(set);
  if (first == std::string_view::npos) return {};
  const std::size_t last = text.find_last_not_of(set);
  return text.substr(first, last - first + 1);
}

zel::result_t SplitText(std::string_view text, std::string_view separators, bool keepEmpty,
                        TextPieces& pieces) noexcept {
  try {
    pieces.clear();
    std::size_t start = 0;
    for (;;) {
      const std::size_t cut = text.find_first_of(separators, start);
      const std::string_view piece =
          text.substr(start, cut == std::string_view::npos ? std::string_view::npos : cut - start);
      if (keepEmpty || !piece.empty()) pieces.push_back(piece);
      if (cut == std::string_view::npos) return zel::kOk;
      start = cut + 1;
    }
  } catch (const std::bad_alloc&) {
    pieces.clear();
    return zel::kErrOutOfMemory;
  } catch (...) {
    pieces.clear();
    return zel::kErrUnexpected;
  }
}

bool EqualsIgnoreAsciiCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (LowerAscii(a[i]) != LowerAscii(b[i])) return false;
  }
  return true;
}

bool StartsWithIgnoreAsciiCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && EqualsIgnoreAsciiCase(text.substr(0, prefix.size()), prefix);
}

}  // namespace vor
