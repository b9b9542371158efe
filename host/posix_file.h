// PosixFile: the host's IIo over an open POSIX file descriptor. Files the
// lumo file factory and the directory storage open are handed out as one.
#ifndef VOR_HOST_POSIX_FILE_H_
#define VOR_HOST_POSIX_FILE_H_

#include <cstdint>

#include "host/host_object.h"
#include "vor/io.h"
#include "vor/ref.h"

namespace vor::host {

// Result codes for C library error numbers, the same codes the module uses
// (ENOENT gives zel::kErrFileNotFound, EACCES zel::kErrAccessDenied, ...).
zel::result_t ResultFromErrno(int error);

class PosixFile final : public HostObject<zel::IIo> {
 public:
  // Takes ownership of `fd` (closed when the last reference goes). Returns null,
  // with `fd` closed, for a negative descriptor or when memory runs out.
  static Ref<zel::IIo> Adopt(int fd);

  // Reads until `size` bytes are in or the file ends; `bytesRead` may be null.
  zel::result_t Read(void* buffer, std::uint32_t size, std::uint32_t* bytesRead) override;
  // Writes all `size` bytes unless an error stops it; `bytesWritten` may be null.
  zel::result_t Write(const void* buffer, std::uint32_t size,
                      std::uint32_t* bytesWritten) override;
  zel::result_t Seek(std::int64_t offset, std::uint32_t origin,
                     std::uint64_t* position) override;
  zel::result_t SetSize(std::uint64_t size) override;
  zel::result_t GetSize(std::uint64_t* size) override;

 private:
  explicit PosixFile(int fd) : fd_(fd) {}
  ~PosixFile() override;

  const int fd_;
};

}  // namespace vor::host

#endif  // VOR_HOST_POSIX_FILE_H_
