#include "paths.h"

namespace vorctl {
namespace {

// Appends the components of `path` to `out` (which starts with '/'),
// resolving "." and ".."; returns whether the last component named a directory.
bool AppendComponents(std::string_view path, std::string& out) {
  bool directory = false;
  std::size_t at = 0;
  while (at < path.size()) {
    std::size_t end = path.find('/', at);
    if (end == std::string_view::npos) end = path.size();
    const std::string_view part = path.substr(at, end - at);
    directory = end < path.size() || part == "." || part == "..";
    if (part == "..") {
      const std::size_t slash = out.rfind('/');
      out.resize(slash == 0 ? 1 : slash);  // ".." of "/" is "/"
    } else if (!part.empty() && part != ".") {
      if (out.size() > 1) out += '/';
      out.append(part);
    }
    at = end + 1;
  }
  return directory;
}

// Whether an absolute path is already as AbsolutePath makes it: no empty,
// "." or ".." component (a trailing slash is kept anyway). Most are.
bool IsNormal(std::string_view path) {
  const std::size_t n = path.size();
  const auto endsPart = [&](std::size_t i) { return i == n || path[i] == '/'; };
  for (std::size_t i = 0; i < n; ++i) {
    if (path[i] != '/' || i + 1 == n) continue;
    if (path[i + 1] == '/') return false;
    if (path[i + 1] == '.' && (endsPart(i + 2) || (path[i + 2] == '.' && endsPart(i + 3)))) {
      return false;
    }
  }
  return true;
}

}  // namespace

void AbsolutePath(std::string_view typed, std::string_view cwd, std::string& out) {
  out.clear();
  if (typed.empty()) return;
  if (typed.front() == '/' && IsNormal(typed)) {
    out.assign(typed);
    return;
  }
  out += '/';
  if (typed.front() != '/') AppendComponents(cwd, out);
  if (AppendComponents(typed, out) && out.size() > 1) out += '/';
}

}  // namespace vorctl
