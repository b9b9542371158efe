#include "host/posix_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <new>

namespace vor::host {
namespace {

constexpr zel::result_t kOutOfMemory = 0x80000041;
constexpr zel::result_t kPlatformFailure = 0x80010100;

}  // namespace

zel::result_t ResultFromErrno(int error) {
  switch (error) {
    case 0: return kHostOk;
    case EPERM:
    case EACCES: return 0x80000045;
    case ENOENT: return 0x80010102;
    case EIO: return 0x80000059;
    case EBADF: return 0x80010101;
    case ENOMEM: return kOutOfMemory;
    case EBUSY:
    case ETXTBSY: return 0x8000004f;
    case EEXIST: return 0x80010105;
    case ENOTDIR: return 0x80010103;
    case EINVAL: return kHostInvalidArgument;
    case EFBIG: return 0x80000078;
    case ENOSPC: return 0x80000062;
    case ENAMETOOLONG: return 0x8000005c;
    case ELOOP: return 0x8000006a;
    case EOVERFLOW: return 0x80000044;
    default: break;
  }
  const auto value = static_cast<unsigned>(error);
  return value < 65536 ? 0x80060000u | value : kPlatformFailure;
}

Ref<zel::IIo> PosixFile::Adopt(int fd) {
  if (fd < 0) return nullptr;
  auto* file = new (std::nothrow) PosixFile(fd);
  if (file == nullptr) {
    ::close(fd);
    return nullptr;
  }
  return Ref<zel::IIo>::Adopt(file);
}

PosixFile::~PosixFile() { ::close(fd_); }

zel::result_t PosixFile::Read(void* buffer, std::uint32_t size, std::uint32_t* bytesRead) {
  if (bytesRead != nullptr) *bytesRead = 0;
  if (buffer == nullptr && size != 0) return kHostInvalidArgument;
  std::uint32_t done = 0;
  while (done < size) {
    const ssize_t n = ::read(fd_, static_cast<char*>(buffer) + done, size - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      const zel::result_t code = ResultFromErrno(errno);
      if (bytesRead != nullptr) *bytesRead = done;
      return code;
    }
    if (n == 0) break;  // end of file
    done += static_cast<std::uint32_t>(n);
  }
  if (bytesRead != nullptr) *bytesRead = done;
  return kHostOk;
}

zel::result_t PosixFile::Write(const void* buffer, std::uint32_t size,
                               std::uint32_t* bytesWritten) {
  if (bytesWritten != nullptr) *bytesWritten = 0;
  if (buffer == nullptr && size != 0) return kHostInvalidArgument;
  std::uint32_t done = 0;
  while (done < size) {
    const ssize_t n = ::write(fd_, static_cast<const char*>(buffer) + done, size - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      const zel::result_t code = ResultFromErrno(errno);
      if (bytesWritten != nullptr) *bytesWritten = done;
      return code;
    }
    done += static_cast<std::uint32_t>(n);
  }
  if (bytesWritten != nullptr) *bytesWritten = done;
  return kHostOk;
}

zel::result_t PosixFile::Seek(std::int64_t offset, std::uint32_t origin,
                              std::uint64_t* position) {
  int whence = 0;
  switch (origin) {
    case kSeekBegin: whence = SEEK_SET; break;
    case kSeekCurrent: whence = SEEK_CUR; break;
    case kSeekEnd: whence = SEEK_END; break;
    default: return kHostInvalidArgument;
  }
  const off_t result = ::lseek(fd_, static_cast<off_t>(offset), whence);
  if (result < 0) return ResultFromErrno(errno);
  if (position != nullptr) *position = static_cast<std::uint64_t>(result);
  return kHostOk;
}

zel::result_t PosixFile::SetSize(std::uint64_t size) {
  if (size > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
    return kHostInvalidArgument;
  }
  while (::ftruncate(fd_, static_cast<off_t>(size)) != 0) {
    if (errno != EINTR) return ResultFromErrno(errno);
  }
  return kHostOk;
}

zel::result_t PosixFile::GetSize(std::uint64_t* size) {
  if (size == nullptr) return kHostInvalidArgument;
  *size = 0;
  struct stat info {};
  if (::fstat(fd_, &info) != 0) return ResultFromErrno(errno);
  *size = static_cast<std::uint64_t>(info.st_size);
  return kHostOk;
}

}  // namespace vor::host
