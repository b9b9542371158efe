#include "proclist/path_rules.h"

namespace vor {
namespace {

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameBytes(std::string_view a, std::string_view b, bool caseSensitive) {
  if (caseSensitive) return a == b;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (LowerAscii(a[i]) != LowerAscii(b[i])) return false;
  }
  return true;
}

}  // namespace

bool IsPathUnder(std::string_view folder, std::string_view path, bool caseSensitive) {
  if (folder.empty()) return false;
  while (folder.size() > 1 && IsSeparator(folder.back())) folder.remove_suffix(1);
  const std::size_t length = folder.size();
  if (path.size() < length) return false;
  if (!SameBytes(folder, path.substr(0, length), caseSensitive)) return false;
  if (path.size() == length) return true;
  if (length > 1) return IsSeparator(path[length]);
  // A one-character folder: the root holds everything, "a" holds "a/...".
  return IsSeparator(folder[0]) || IsSeparator(path[1]);
}

}  // namespace vor
