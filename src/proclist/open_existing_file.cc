#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "proclist/open_existing_file.h"
#include "runtime/errno_result.h"
#include "runtime/result.h"

namespace vor {
namespace {

constexpr std::size_t kPathLimit = 4096;

}  // namespace

zel::result_t OpenExistingFile(int& fd, const char* path, int flags, mode_t mode) noexcept {
  fd = -1;
  if (path == nullptr) return zel::kErrInvalidArgument;
  std::string_view rest(path);
  if (rest.size() < kPathLimit) {
    fd = ::openat(AT_FDCWD, path, flags, mode);
    return fd < 0 ? zel::ErrnoToResult(errno) : zel::kOk;
  }

  char* piece = static_cast<char*>(std::malloc(kPathLimit));
  if (piece == nullptr) return zel::kErrOutOfMemory;
  int dir = AT_FDCWD;
  zel::result_t code = zel::kOk;
  // Each round opens the longest prefix that fits the limit and ends at a '/'.
  while (rest.size() >= kPathLimit) {
    const std::size_t slash = rest.substr(0, kPathLimit - 1).rfind('/');
    if (slash == std::string_view::npos) {
      code = zel::kErrFileNotFound;
      break;
    }
    std::memcpy(piece, rest.data(), slash + 1);
    piece[slash + 1] = '\0';
    const int next = ::openat(dir, piece, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (next < 0) {
      code = zel::ErrnoToResult(errno);
      break;
    }
    if (dir != AT_FDCWD) ::close(dir);
    dir = next;
    rest.remove_prefix(slash + 1);
  }
  if (zel::Succeeded(code)) {
    std::memcpy(piece, rest.data(), rest.size());
    piece[rest.size()] = '\0';
    fd = ::openat(dir, piece, flags, mode);
    if (fd < 0) code = zel::ErrnoToResult(errno);
  }
  if (dir != AT_FDCWD) ::close(dir);
  std::free(piece);
  return code;
}

}  // namespace vor
