// LumoFileFactory: the host's ILumoFileFactory over POSIX. It opens regular
// files for reading; without a root, relative paths open against the working
// directory; with a root directory set, absolute paths and absolute link
// targets resolve inside that directory as under a chroot, and relative
// paths are refused.
#ifndef VOR_HOST_LUMO_FILE_FACTORY_H_
#define VOR_HOST_LUMO_FILE_FACTORY_H_

#include <cstdint>
#include <string>

#include "host/host_object.h"
#include "vor/io.h"
#include "vor/ref.h"

namespace vor::host {

// Result codes particular to the file factory.
inline constexpr zel::result_t kFileNotSupported = zel::kErrNotSupported;  // no openat2 in this kernel
inline constexpr zel::result_t kFileNotRegular = zel::kErrAccessDenied;  // directory, FIFO, device...
inline constexpr zel::result_t kFileNotImplemented = zel::kErrNotImplemented;  // a mode other than reading
inline constexpr zel::result_t kFileInvalidPath = zel::kErrInvalidPathName;  // empty, or relative under a root
inline constexpr zel::result_t kFileInvalidText = zel::kErrInvalidSymbol;  // path is not valid UTF-16

class LumoFileFactory final : public HostObject<zel::ILumoFileFactory> {
 public:
  // A factory over the whole file system when `root` is empty or "/", else
  // confined to the directory `root`. Returns null, with `*code` set, when
  // the root cannot be opened as a directory.
  static Ref<LumoFileFactory> Create(const std::string& root, zel::result_t* code);

  // access 1 (read), share 0-3 (POSIX has no share modes), disposition 4
  // (existing file only), flags 0. Follows symbolic links; refuses anything
  // but a regular file without blocking on it. The file gives at most
  // kMaxLumoFileBytes: a larger one answers GetSize, and reads past the cap,
  // with PosixFile::kTooBig.
  zel::result_t Open(const char16_t* path, std::uint32_t access, std::uint32_t share,
                     std::uint32_t disposition, std::uint32_t flags, zel::IIo** out) override;

  bool confined() const { return rootFd_ >= 0; }

 private:
  explicit LumoFileFactory(int rootFd) : rootFd_(rootFd) {}
  ~LumoFileFactory() override;

  // A descriptor of `path` opened with `openFlags`, or -1 with errno set.
  int OpenDescriptor(const std::string& path, int openFlags) const;

  const int rootFd_;  // -1: no root
};

}  // namespace vor::host

#endif  // VOR_HOST_LUMO_FILE_FACTORY_H_
