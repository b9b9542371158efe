#include "proclist/resolve_link.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace vor {
namespace {

constexpr int kMaxLinks = 40;  // the kernel's and glibc's limit

// The remainder of the name still to walk, after the links met so far.
class Pending {
 public:
  bool Set(std::string_view head, std::string_view tail) {
    if (head.size() + tail.size() >= sizeof text_) return false;
    // `tail` may point into text_ itself: move it first. An empty view may
    // have no data at all, which memmove and memcpy must not be given.
    if (!tail.empty()) std::memmove(text_ + head.size(), tail.data(), tail.size());
    if (!head.empty()) std::memcpy(text_, head.data(), head.size());
    length_ = head.size() + tail.size();
    return true;
  }
  std::string_view view() const { return {text_, length_}; }

 private:
  char text_[2 * kPathBufferSize];
  std::size_t length_ = 0;
};

// A suffix whose first component is empty, "." or ".." ("/", "/.", "/..")
// needs what came before it to be a directory, as realpath(3) checks.
bool SuffixNeedsDirectory(std::string_view suffix) {
  if (suffix.empty() || suffix.front() != '/') return false;
  const std::size_t name = suffix.find_first_not_of('/');
  if (name == std::string_view::npos) return true;
  const std::string_view part = suffix.substr(name, suffix.find('/', name) - name);
  return part == "." || part == "..";
}

// Drops the last component of `out` (never the root).
void DropLast(char* out, std::size_t& length) {
  while (length > 1 && out[length - 1] != '/') --length;
  if (length > 1) --length;
  out[length] = '\0';
}

}  // namespace

int ResolveLinkText(std::string_view linkPath, std::string_view text,
                    char (&resolved)[kPathBufferSize]) noexcept {
  Pending pending;
  std::size_t length = 0;
  // A relative text is read from the link's folder, as the kernel reads it.
  if (text.empty()) return ENOENT;
  if (text.front() != '/') {
    const std::size_t slash = linkPath.rfind('/');
    const std::string_view folder = slash == std::string_view::npos ? "" : linkPath.substr(0, slash + 1);
    if (!pending.Set(folder, text)) return ENAMETOOLONG;
  } else if (!pending.Set({}, text)) {
    return ENAMETOOLONG;
  }
  resolved[0] = '/';
  resolved[1] = '\0';
  length = 1;
  int links = 0;
  char target[kPathBufferSize];
  std::size_t at = 0;
  for (;;) {
    const std::string_view rest = pending.view();
    while (at < rest.size() && rest[at] == '/') ++at;
    if (at == rest.size()) break;
    std::size_t end = rest.find('/', at);
    if (end == std::string_view::npos) end = rest.size();
    const std::string_view part = rest.substr(at, end - at);
    at = end;
    if (part == ".") continue;
    if (part == "..") {
      DropLast(resolved, length);
      continue;
    }
    const std::size_t before = length;
    if (length + (length > 1) + part.size() >= kPathBufferSize) return ENAMETOOLONG;
    if (length > 1) resolved[length++] = '/';
    std::memcpy(resolved + length, part.data(), part.size());
    length += part.size();
    resolved[length] = '\0';

    const ssize_t n = ::readlink(resolved, target, sizeof target);
    if (n < 0) {
      if (errno != EINVAL) return errno;
      // Not a link. A trailing "/" or "/.." after it needs a directory here.
      if (SuffixNeedsDirectory(rest.substr(at))) {
        if (length + 1 >= kPathBufferSize) return ENAMETOOLONG;
        resolved[length] = '/';
        resolved[length + 1] = '\0';
        const int status = ::access(resolved, F_OK);
        resolved[length] = '\0';
        if (status != 0) return errno;
      }
      continue;
    }
    if (n == 0) return ENOENT;
    if (static_cast<std::size_t>(n) >= sizeof target) return ENAMETOOLONG;
    if (++links > kMaxLinks) return ELOOP;
    const std::string_view link(target, static_cast<std::size_t>(n));
    if (!pending.Set(link, rest.substr(at))) return ENAMETOOLONG;
    at = 0;
    if (link.front() == '/') {
      length = 1;
      resolved[1] = '\0';
    } else {
      length = before;
      resolved[length] = '\0';
    }
  }
  return 0;
}

}  // namespace vor
