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

}  // namespace

void AbsolutePath(std::string_view typed, std::string_view cwd, std::string& out) {
  out.clear();
  if (typed.empty()) return;
  out += '/';
  if (typed.front() != '/') AppendComponents(cwd, out);
  if (AppendComponents(typed, out) && out.size() > 1) out += '/';
}

}  // namespace vorctl
