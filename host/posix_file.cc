#include "host/posix_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <new>

namespace vor::host {

zel::result_t ResultFromErrno(int error) { return vor_result_from_errno(error); }

Ref<zel::IIo> PosixFile::Adopt(int fd, std::uint64_t maxBytes) {
  if (fd < 0) return nullptr;
  auto* file = new (std::nothrow) PosixFile(fd, maxBytes);
  if (file == nullptr) {
    ::close(fd);
    return nullptr;
  }
  return Ref<zel::IIo>::Adopt(file);
}

PosixFile::~PosixFile() { ::close(fd_); }

zel::result_t PosixFile::Read(void* buffer, std::uint32_t size, std::uint32_t* bytesRead) {
  if (bytesRead != nullptr) *bytesRead = 0;
  if (buffer == nullptr && size != 0) return zel::kErrInvalidArgument;
  const off_t at = ::lseek(fd_, 0, SEEK_CUR);
  if (at < 0) return ResultFromErrno(errno);
  const std::uint64_t room =
      static_cast<std::uint64_t>(at) < maxBytes_ ? maxBytes_ - static_cast<std::uint64_t>(at) : 0;
  // A read that reaches past the cap asks for one byte beyond it: a file
  // that ends at the cap is whole, one that goes on is too big.
  const std::uint32_t want = size <= room ? size : static_cast<std::uint32_t>(room + 1);
  std::uint32_t done = 0;
  while (done < want) {
    const ssize_t n = ::read(fd_, static_cast<char*>(buffer) + done, want - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      const zel::result_t code = ResultFromErrno(errno);
      if (bytesRead != nullptr) *bytesRead = done;
      return code;
    }
    if (n == 0) break;  // end of file
    done += static_cast<std::uint32_t>(n);
  }
  const bool tooBig = done > room;
  if (bytesRead != nullptr) *bytesRead = tooBig ? static_cast<std::uint32_t>(room) : done;
  return tooBig ? kTooBig : zel::kOk;
}

zel::result_t PosixFile::Write(const void* buffer, std::uint32_t size,
                               std::uint32_t* bytesWritten) {
  if (bytesWritten != nullptr) *bytesWritten = 0;
  if (buffer == nullptr && size != 0) return zel::kErrInvalidArgument;
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
  return zel::kOk;
}

zel::result_t PosixFile::Seek(std::int64_t offset, std::uint32_t origin,
                              std::uint64_t* position) {
  int whence = 0;
  switch (origin) {
    case kSeekBegin: whence = SEEK_SET; break;
    case kSeekCurrent: whence = SEEK_CUR; break;
    case kSeekEnd: whence = SEEK_END; break;
    default: return zel::kErrInvalidArgument;
  }
  const off_t result = ::lseek(fd_, static_cast<off_t>(offset), whence);
  if (result < 0) return ResultFromErrno(errno);
  if (position != nullptr) *position = static_cast<std::uint64_t>(result);
  return zel::kOk;
}

zel::result_t PosixFile::SetSize(std::uint64_t size) {
  if (size > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
    return zel::kErrInvalidArgument;
  }
  while (::ftruncate(fd_, static_cast<off_t>(size)) != 0) {
    if (errno != EINTR) return ResultFromErrno(errno);
  }
  return zel::kOk;
}

zel::result_t PosixFile::GetSize(std::uint64_t* size) {
  if (size == nullptr) return zel::kErrInvalidArgument;
  *size = 0;
  struct stat info {};
  if (::fstat(fd_, &info) != 0) return ResultFromErrno(errno);
  if (static_cast<std::uint64_t>(info.st_size) > maxBytes_) return kTooBig;
  *size = static_cast<std::uint64_t>(info.st_size);
  return zel::kOk;
}

}  // namespace vor::host
