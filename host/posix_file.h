// PosixFile: the host's IIo over an open POSIX file descriptor. Files the
// lumo file factory and the directory storage open are handed out as one,
// each with its own cap on the bytes a caller can get from it.
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

// The caps of the host's file layer: files such as the OS release files,
// read through the lumo file factory, and documents read from the storage.
inline constexpr std::uint64_t kMaxLumoFileBytes = 1u << 20;
inline constexpr std::uint64_t kMaxStorageFileBytes = 16u << 20;

class PosixFile final : public HostObject<zel::IIo> {
 public:
  // Too big for its cap: what GetSize and Read answer past `maxBytes`.
  static constexpr zel::result_t kTooBig = zel::kErrFileTooBig;

  // Takes ownership of `fd`, a regular file's (closed when the last reference
  // goes), whose first `maxBytes` bytes alone can be read. Returns null, with
  // `fd` closed, for a negative descriptor or when memory runs out.
  static Ref<zel::IIo> Adopt(int fd, std::uint64_t maxBytes);

  // Reads until `size` bytes are in or the file ends; `bytesRead` may be null.
  // A read that would pass the cap gets the bytes up to it and kTooBig, also
  // when the file has grown since it was opened.
  zel::result_t Read(void* buffer, std::uint32_t size, std::uint32_t* bytesRead) override;
  // Writes all `size` bytes unless an error stops it; `bytesWritten` may be null.
  zel::result_t Write(const void* buffer, std::uint32_t size,
                      std::uint32_t* bytesWritten) override;
  zel::result_t Seek(std::int64_t offset, std::uint32_t origin,
                     std::uint64_t* position) override;
  zel::result_t SetSize(std::uint64_t size) override;
  // kTooBig for a file over the cap, so that no caller sizes a buffer by it.
  zel::result_t GetSize(std::uint64_t* size) override;

 private:
  PosixFile(int fd, std::uint64_t maxBytes) : fd_(fd), maxBytes_(maxBytes) {}
  ~PosixFile() override;

  const int fd_;
  const std::uint64_t maxBytes_;
};

}  // namespace vor::host

#endif  // VOR_HOST_POSIX_FILE_H_
