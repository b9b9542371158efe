#include "host/lumo_file_factory.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <string_view>

#include "host/posix_file.h"
#include "vor/utf.h"

namespace vor::host {
namespace {

// Converts a NUL-terminated UTF-16 text to UTF-8; false for unpaired surrogates.
bool ToNarrowPath(const char16_t* path, std::string& out) {
  return utf::Utf16ToUtf8(std::u16string_view(path), [&out](char c) { out.push_back(c); });
}

}  // namespace

Ref<LumoFileFactory> LumoFileFactory::Create(const std::string& root, zel::result_t* code) {
  if (code != nullptr) *code = zel::kOk;
  int rootFd = -1;
  if (!root.empty() && root != "/") {
    rootFd = ::open(root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (rootFd < 0) {
      if (code != nullptr) *code = ResultFromErrno(errno);
      return nullptr;
    }
  }
  auto* factory = new (std::nothrow) LumoFileFactory(rootFd);
  if (factory == nullptr) {
    if (rootFd >= 0) ::close(rootFd);
    if (code != nullptr) *code = zel::kErrOutOfMemory;
    return nullptr;
  }
  return Ref<LumoFileFactory>::Adopt(factory);
}

LumoFileFactory::~LumoFileFactory() {
  if (rootFd_ >= 0) ::close(rootFd_);
}

int LumoFileFactory::OpenDescriptor(const std::string& path, int openFlags) const {
  if (rootFd_ < 0) return ::open(path.c_str(), openFlags);
  // RESOLVE_IN_ROOT treats the root as "/" for the path and every link
  // target in it, so nothing outside the root can be reached.
  open_how how{};
  how.flags = static_cast<std::uint64_t>(openFlags);
  how.resolve = RESOLVE_IN_ROOT;
  long fd;
  do {
    fd = ::syscall(SYS_openat2, rootFd_, path.c_str(), &how, sizeof how);
  } while (fd < 0 && (errno == EINTR || errno == EAGAIN));
  return static_cast<int>(fd);
}

zel::result_t LumoFileFactory::Open(const char16_t* path, std::uint32_t access,
                                    std::uint32_t share, std::uint32_t disposition,
                                    std::uint32_t flags, zel::IIo** out) {
  if (out == nullptr) return zel::kErrInvalidArgument;
  *out = nullptr;
  if (path == nullptr || (share & ~kShareReadWrite) != 0 || flags != 0) {
    return zel::kErrInvalidArgument;
  }
  if (access != kAccessRead || disposition != kOpenExisting) return kFileNotImplemented;

  std::string narrow;
  try {
    if (!ToNarrowPath(path, narrow)) return kFileInvalidText;
  } catch (const std::bad_alloc&) {
    return zel::kErrOutOfMemory;
  }
  // Without a root a relative path means what it means to any process: the
  // working directory. Under a root it would name a place outside it.
  if (narrow.empty() || (narrow.front() != '/' && rootFd_ >= 0)) return kFileInvalidPath;

  // O_NONBLOCK: a FIFO without a writer must not hang the open; it is
  // rejected below and cleared for regular files.
  const int fd = OpenDescriptor(narrow, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) return errno == ENOSYS ? kFileNotSupported : ResultFromErrno(errno);

  struct stat info {};
  if (::fstat(fd, &info) != 0) {
    const zel::result_t code = ResultFromErrno(errno);
    ::close(fd);
    return code;
  }
  if (!S_ISREG(info.st_mode)) {
    ::close(fd);
    return kFileNotRegular;
  }
  const int status = ::fcntl(fd, F_GETFL);
  if (status < 0 || ::fcntl(fd, F_SETFL, status & ~O_NONBLOCK) != 0) {
    const zel::result_t code = ResultFromErrno(errno);
    ::close(fd);
    return code;
  }
  Ref<zel::IIo> file = PosixFile::Adopt(fd, kMaxLumoFileBytes);
  if (!file) return zel::kErrOutOfMemory;
  *out = file.detach();
  return zel::kOk;
}

}  // namespace vor::host
