#include "host/file_entry.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "host/posix_file.h"

namespace vor::host {
namespace {

// Bit i of `slashes` and `dots`: byte i of `bytes` (at most 64 of them) is
// '/' or '.'. Sixteen bytes at a time, without a branch per byte; the last
// sixteen are loaded again rather than byte by byte.
void Mark(std::string_view bytes, std::uint64_t& slashes, std::uint64_t& dots) {
  slashes = dots = 0;
  const auto mark = [&](std::size_t at, unsigned keep, unsigned shift) {
    char chunk[16];
    std::memcpy(chunk, bytes.data() + at, 16);  // one unaligned load
    std::uint32_t slash = 0, dot = 0;
#if defined(__SSE2__)
    const __m128i all = _mm_loadu_si128(reinterpret_cast<const __m128i*>(chunk));
    slash = static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(all, _mm_set1_epi8('/'))));
    dot = static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(all, _mm_set1_epi8('.'))));
#else
    for (unsigned k = 0; k < 16; ++k) {
      slash |= static_cast<std::uint32_t>(chunk[k] == '/') << k;
      dot |= static_cast<std::uint32_t>(chunk[k] == '.') << k;
    }
#endif
    slashes |= static_cast<std::uint64_t>(slash >> (16 - keep)) << shift;
    dots |= static_cast<std::uint64_t>(dot >> (16 - keep)) << shift;
  };
  std::size_t i = 0;
  for (; i + 16 <= bytes.size(); i += 16) mark(i, 16, static_cast<unsigned>(i));
  const auto rest = static_cast<unsigned>(bytes.size() - i);
  if (rest > 0 && bytes.size() >= 16) mark(bytes.size() - 16, rest, static_cast<unsigned>(i));
  for (; rest > 0 && bytes.size() < 16 && i < bytes.size(); ++i) {
    slashes |= static_cast<std::uint64_t>(bytes[i] == '/') << i;
    dots |= static_cast<std::uint64_t>(bytes[i] == '.') << i;
  }
}

// Whether a path is already as MakeAskedPath makes it (no empty component
// but a trailing slash, no "." component; most are), and where its last
// slash is.
bool IsClean(std::string_view path, std::size_t& lastSlash) {
  bool clean = true;
  for (std::size_t base = 0; base < path.size(); base += 62) {
    const std::size_t left = path.size() - base;
    std::uint64_t slashes, dots;
    Mark(path.substr(base, 64), slashes, dots);
    // Bytes judged here; each looks two ahead, so windows overlap by two.
    const std::uint64_t judged = left >= 62 ? (1ull << 62) - 1 : (1ull << left) - 1;
    const std::uint64_t end = left < 64 ? 1ull << left : 0;
    const std::uint64_t empty = slashes & (slashes >> 1);
    const std::uint64_t dot = slashes & (dots >> 1) & ((slashes | end) >> 2);
    if (((empty | dot) & judged) != 0) clean = false;
    if ((slashes & judged) != 0) lastSlash = base + 63 - __builtin_clzll(slashes & judged);
  }
  return clean;
}

// Appends the components of `path` to `out`, dropping empty and "." ones.
void AppendComponents(std::string_view path, std::string& out) {
  std::size_t at = 0;
  while (at < path.size()) {
    std::size_t end = path.find('/', at);
    if (end == std::string_view::npos) end = path.size();
    const std::string_view part = path.substr(at, end - at);
    if (!part.empty() && part != ".") {
      if (out.empty() || out.back() != '/') out += '/';
      out.append(part);
    }
    at = end + 1;
  }
}

zel::result_t WorkingDirectory(std::string& out) {
  out.resize(PATH_MAX);
  for (;;) {
    if (::getcwd(out.data(), out.size()) != nullptr) {
      out.resize(std::strlen(out.c_str()));
      return zel::kOk;
    }
    if (errno != ERANGE) break;
    out.resize(out.size() * 2);
  }
  const int error = errno;
  out.clear();
  return error == ENOENT ? zel::kErrPathNotFound : ResultFromErrno(error);
}

// Errors that say the path leads to no directory, as opposed to a question
// the kernel could not answer.
bool NamesNoDirectory(int error) {
  return error == ENOENT || error == ENOTDIR || error == EACCES || error == ELOOP ||
         error == ENAMETOOLONG;
}

}  // namespace

zel::result_t MakeAskedPath(std::string_view typed, std::string& scratch, AskedPath& out) {
  out = {typed, {}, {}};
  if (typed.empty()) return zel::kOk;
  std::size_t slash = 0;
  if (typed.front() == '/' && IsClean(typed, slash)) {
    out.text = typed;
  } else {
    scratch.clear();
    if (typed.front() != '/') {
      const zel::result_t code = WorkingDirectory(scratch);
      if (zel::Failed(code)) return code;
    }
    AppendComponents(typed, scratch);
    if (scratch.empty() || (typed.back() == '/' && scratch.back() != '/')) scratch += '/';
    out.text = scratch;
    slash = scratch.rfind('/');
  }
  if (typed.back() == '/') return zel::kOk;  // no file name: no entry
  if (typed == "." || typed == ".." || typed.ends_with("/.") || typed.ends_with("/..")) {
    out.directory = out.text;
    return zel::kOk;
  }
  out.directory = out.text.substr(0, slash == 0 ? 1 : slash);
  out.name = out.text.substr(slash + 1);
  return zel::kOk;
}

zel::result_t ResolveDirectory(std::string_view directory, std::string& physical) {
  char path[PATH_MAX];
  if (directory.size() >= sizeof path) return zel::kFalse;
  directory.copy(path, directory.size());
  path[directory.size()] = '\0';
  int fd;
  do {
    fd = ::open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return NamesNoDirectory(errno) ? zel::kFalse : ResultFromErrno(errno);
  // The kernel's own name for what it opened: every link and ".." followed.
  char self[40];
  std::snprintf(self, sizeof self, "/proc/self/fd/%d", fd);
  const ssize_t n = ::readlink(self, path, sizeof path);
  const int error = errno;
  struct stat info {};
  const bool removed = ::fstat(fd, &info) == 0 && info.st_nlink == 0;
  ::close(fd);
  if (n < 0) return error == ENOENT ? zel::kErrNotSupported : ResultFromErrno(error);
  // Truncated, outside this process's root ("(unreachable)/..."), or removed.
  if (n == static_cast<ssize_t>(sizeof path) || path[0] != '/' || removed) return zel::kFalse;
  physical.assign(path, static_cast<std::size_t>(n));
  return zel::kOk;
}

zel::result_t ReadTopDirectoryLinks(std::vector<DirectoryLink>& out) {
  out.clear();
  DIR* root = ::opendir("/");
  if (root == nullptr) return ResultFromErrno(errno);
  zel::result_t code = zel::kOk;
  for (errno = 0; const dirent* entry = ::readdir(root); errno = 0) {
    if (entry->d_type != DT_LNK && entry->d_type != DT_UNKNOWN) continue;
    DirectoryLink link{std::string("/") + entry->d_name, {}};
    struct stat info {};
    if (::lstat(link.link.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) continue;
    const zel::result_t resolved = ResolveDirectory(link.link, link.target);
    if (zel::Failed(resolved)) code = resolved;
    if (resolved == zel::kOk && link.target != "/") out.push_back(std::move(link));
  }
  if (errno != 0 && zel::Succeeded(code)) code = ResultFromErrno(errno);
  ::closedir(root);
  std::sort(out.begin(), out.end(),
            [](const DirectoryLink& a, const DirectoryLink& b) { return a.link < b.link; });
  return code;
}

}  // namespace vor::host
