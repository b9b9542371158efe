// The host's storage over one directory: Open(name) opens DIR/name for
// reading. Names are plain file names; anything that could leave the
// directory ("/", "..") is refused. Without a directory the storage is empty.
#ifndef VOR_HOST_DIRECTORY_STORAGE_H_
#define VOR_HOST_DIRECTORY_STORAGE_H_

#include <cstdint>
#include <string>

#include "host/host_object.h"
#include "vor/io.h"

namespace vor::host {

class DirectoryStorage : public HostObject<zel::IStorage> {
 public:
  static constexpr zel::result_t kNotSupported = zel::kErrNotSupported;
  static constexpr zel::result_t kAccessDenied = zel::kErrAccessDenied;
  static constexpr zel::result_t kFileNotFound = zel::kErrFileNotFound;
  static constexpr zel::result_t kInvalidPathName = zel::kErrInvalidPathName;

  // An empty `directory` makes an empty storage: every Open finds nothing.
  explicit DirectoryStorage(std::string directory);
  ~DirectoryStorage() override;

  // The directory could be opened (always true for an empty storage).
  bool ok() const { return directory_.empty() || dirFd_ >= 0; }
  // errno of the failed directory open, 0 otherwise.
  int open_error() const { return openError_; }

  // Mode 0 (read) only. Regular files only; a FIFO or device is refused
  // without blocking on it. A file gives at most kMaxStorageFileBytes, as
  // the lumo file factory's give their own cap (PosixFile).
  zel::result_t Open(const char16_t* name, std::uint32_t mode, zel::IIo** out) override;

 private:
  std::string directory_;
  int dirFd_ = -1;
  int openError_ = 0;
};

}  // namespace vor::host

#endif  // VOR_HOST_DIRECTORY_STORAGE_H_
