#include "host/directory_storage.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "host/posix_file.h"
#include "vor/utf.h"

namespace vor::host {
namespace {

bool IsPlainName(std::string_view name) {
  return !name.empty() && name != "." && name.find('/') == std::string_view::npos &&
         name.find("..") == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

}  // namespace

DirectoryStorage::DirectoryStorage(std::string directory) : directory_(std::move(directory)) {
  if (directory_.empty()) return;
  dirFd_ = ::open(directory_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dirFd_ < 0) openError_ = errno;
}

DirectoryStorage::~DirectoryStorage() {
  if (dirFd_ >= 0) ::close(dirFd_);
}

zel::result_t DirectoryStorage::Open(const char16_t* name, std::uint32_t mode, zel::IIo** out) {
  if (out == nullptr) return zel::kErrInvalidArgument;
  *out = nullptr;
  if (name == nullptr) return zel::kErrInvalidArgument;
  if (mode != zel::IStorage::kModeRead) return kNotSupported;

  std::string narrow;
  std::u16string_view wide(name);
  try {
    if (!utf::Utf16ToUtf8(wide, [&narrow](char c) { narrow.push_back(c); })) {
      return kInvalidPathName;
    }
  } catch (const std::bad_alloc&) {
    return zel::kErrOutOfMemory;
  }
  if (!IsPlainName(narrow)) return kInvalidPathName;
  if (directory_.empty()) return kFileNotFound;
  if (dirFd_ < 0) return ResultFromErrno(openError_);

  // O_NONBLOCK so that opening a FIFO cannot hang; cleared once the file is
  // known to be regular.
  const int fd = ::openat(dirFd_, narrow.c_str(),
                          O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) return ResultFromErrno(errno);
  struct stat info {};
  if (::fstat(fd, &info) != 0) {
    const int error = errno;
    ::close(fd);
    return ResultFromErrno(error);
  }
  if (!S_ISREG(info.st_mode)) {
    ::close(fd);
    return kAccessDenied;
  }
  const int flags = ::fcntl(fd, F_GETFL);
  if (flags < 0 || ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0) {
    const int error = errno;
    ::close(fd);
    return ResultFromErrno(error);
  }
  Ref<zel::IIo> file = PosixFile::Adopt(fd, kMaxStorageFileBytes);
  if (!file) return zel::kErrOutOfMemory;
  *out = file.detach();
  return zel::kOk;
}

}  // namespace vor::host
