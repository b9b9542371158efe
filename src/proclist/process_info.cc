#include "proclist/process_info.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "proclist/open_existing_file.h"
#include "proclist/resolve_link.h"
#include "proclist/status_parser.h"
#include "runtime/errno_result.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"

namespace vor {
namespace {

constexpr std::size_t kLinkBufferSize = 4104;
constexpr std::size_t kLinkLimit = 4096;
constexpr std::size_t kStatusBufferSize = 0x10000;
constexpr std::string_view kDeletedSuffix = " (deleted)";

bool IsValidPid(std::uint32_t pid) { return pid != 0 && pid != kNoPid; }

// "/proc/<pid>/<tail>" in a fixed buffer; no allocation on the hot path.
class ProcPath {
 public:
  ProcPath(std::uint32_t pid, std::string_view tail) {
    char digits[12];
    char* end = digits + sizeof digits;
    char* first = zel::FormatUnsigned(pid, 10, end);
    Append("/proc/");
    Append(std::string_view(first, end - first));
    Append("/");
    Append(tail);
  }
  const char* c_str() const { return text_; }
  std::string_view view() const { return {text_, length_}; }
  bool ok() const { return ok_; }

 private:
  void Append(std::string_view part) {
    if (part.size() >= sizeof text_ - length_) {
      ok_ = false;
      return;
    }
    std::memcpy(text_ + length_, part.data(), part.size());
    length_ += part.size();
    text_[length_] = '\0';
  }

  char text_[128] = {};
  std::size_t length_ = 0;
  bool ok_ = true;
};

// Closes a descriptor on every exit.
class FdCloser {
 public:
  explicit FdCloser(int fd) : fd_(fd) {}
  ~FdCloser() {
    if (fd_ >= 0) ::close(fd_);
  }
  FdCloser(const FdCloser&) = delete;
  FdCloser& operator=(const FdCloser&) = delete;
  // Closes now; later closes are no-ops.
  void Close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

 private:
  int fd_;
};

// A zeroed buffer from the host allocator, or from the C heap without one.
class StatusBuffer {
 public:
  explicit StatusBuffer(zel::IAllocator* allocator) : allocator_(allocator) {
    data_ = static_cast<char*>(allocator_ != nullptr ? allocator_->Alloc(kStatusBufferSize)
                                                     : std::malloc(kStatusBufferSize));
    if (data_ != nullptr) std::memset(data_, 0, kStatusBufferSize);
  }
  ~StatusBuffer() {
    if (data_ == nullptr) return;
    if (allocator_ != nullptr) {
      allocator_->Free(data_);
    } else {
      std::free(data_);
    }
  }
  StatusBuffer(const StatusBuffer&) = delete;
  StatusBuffer& operator=(const StatusBuffer&) = delete;
  char* data() const { return data_; }

 private:
  zel::IAllocator* allocator_;
  char* data_ = nullptr;
};

}  // namespace

zel::result_t GetProcessImagePath(const zel::Tracer& trace, std::uint32_t pid, zel::string& path) {
  try {
    path.clear();
    if (trace.sink() == nullptr || !IsValidPid(pid)) return zel::kErrInvalidArgument;
    const ProcPath link(pid, "exe");
    // realpath(3) of the link, from one read of its text: realpath itself
    // would read the text in user space again and follow whatever stands at
    // that name now, for a deleted executable a link anyone may plant
    // ("/tmp/x (deleted)" -> a listed image). The kernel's marker wins.
    char text[kLinkBufferSize] = {};
    ssize_t length = ::readlink(link.c_str(), text, kLinkLimit);
    char resolved[kPathBufferSize];
    int error = length < 0 ? errno : length >= static_cast<ssize_t>(kLinkLimit) ? ENAMETOOLONG : 0;
    if (error == 0) error = ResolveLinkText(link.view(), {text, static_cast<std::size_t>(length)}, resolved);
    const bool deleted =
        length >= 0 && std::string_view(text, static_cast<std::size_t>(length)).ends_with(kDeletedSuffix);
    if (error == 0 && !deleted) {
      path.assign(std::string_view(resolved));
    } else {
      if (error != 0 && error != ENOENT) {
        const zel::result_t code = zel::ErrnoToResult(error);
        ZEL_TRACE(trace, zel::kTraceError)
            << "Can't read target for symlink <" << link.view() << "> with error 0x"
            << zel::Hex{code} << " (0x" << zel::Hex{static_cast<std::uint32_t>(error)} << ")";
        return code;
      }
      // The executable was deleted or the link dangles: its text still names it.
      ZEL_TRACE(trace, zel::kTraceWarning)
          << "Symlink target <" << link.view() << "> is absent, try to read symlink itself...";
      if (length < 0) length = ::readlink(link.c_str(), text, kLinkLimit);
      if (length < 0) {
        const int readError = errno;
        const zel::result_t readCode = zel::ErrnoToResult(readError);
        ZEL_TRACE(trace, zel::kTraceError)
            << "Can't read symlink <" << link.view() << "> with error 0x" << zel::Hex{readCode}
            << " (0x" << zel::Hex{static_cast<std::uint32_t>(readError)} << ")";
        return readCode;
      }
      std::string_view target(text, static_cast<std::size_t>(length));
      if (target.ends_with(kDeletedSuffix)) target.remove_suffix(kDeletedSuffix.size());
      path.assign(target);
    }
    ZEL_TRACE(trace, zel::kTraceInfo)
        << "Process ID <" << pid << "> has image path <" << path.view() << ">";
    return zel::kOk;
  } catch (...) {
    path.clear();
    return zel::ResultFromCurrentException(trace, "Exception caught at line 262 => ");
  }
}

ImageIdentity GetProcessImageIdentity(std::uint32_t pid) noexcept {
  ImageIdentity image;
  if (!IsValidPid(pid)) return image;
  const ProcPath link(pid, "exe");
  struct stat info {};
  if (::stat(link.c_str(), &info) != 0) return image;
  image.known = true;
  image.deleted = info.st_nlink == 0;
  image.device = info.st_dev;
  image.inode = info.st_ino;
  return image;
}

bool IsRunningImage(const ImageIdentity& image, const char* path) noexcept {
  if (!image.known) return false;
  if (image.deleted) return true;
  struct stat info {};
  if (path == nullptr || ::stat(path, &info) != 0) return false;
  return info.st_dev == image.device && info.st_ino == image.inode;
}

zel::result_t GetProcessNamespace(const zel::Tracer& trace, std::uint32_t pid,
                                  std::string_view name, zel::string& target) {
  try {
    target.clear();
    if (trace.sink() == nullptr || !IsValidPid(pid) || name.empty()) {
      return zel::kErrInvalidArgument;
    }
    const ProcPath link(pid, std::string("ns/").append(name));
    if (!link.ok()) return zel::kErrInvalidArgument;
    char buffer[kLinkBufferSize] = {};
    if (::readlink(link.c_str(), buffer, kLinkLimit) < 0) {
      const int error = errno;
      if (error == ENOENT) {
        ZEL_TRACE(trace, zel::kTraceInfo)
            << "Process ID <" << pid << "> hasn't namespace <" << name << ">";
        return zel::kOk;
      }
      const zel::result_t code = zel::ErrnoToResult(error);
      ZEL_TRACE(trace, zel::kTraceError)
          << "Can't read target for symlink <" << link.view() << "> with error 0x"
          << zel::Hex{code} << " (0x" << zel::Hex{static_cast<std::uint32_t>(error)} << ")";
      return code;
    }
    target.assign(std::string_view(buffer));
    ZEL_TRACE(trace, zel::kTraceInfo) << "Process ID <" << pid << "> has namespace <" << name
                                      << "> -> <" << target.view() << ">";
    return zel::kOk;
  } catch (...) {
    target.clear();
    return zel::ResultFromCurrentException(trace, "Exception caught at line 318 => ");
  }
}

zel::result_t GetProcessInfo(const zel::Tracer& trace, std::uint32_t pid, ProcessInfo& info) {
  try {
    info.Reset();
    if (!IsValidPid(pid)) return zel::kErrInvalidArgument;
    zel::result_t code = GetProcessImagePath(trace, pid, info.imagePath);
    if (zel::Failed(code)) return code;
    info.pid = pid;
    info.image = GetProcessImageIdentity(pid);
    code = GetProcessNamespace(trace, pid, "mnt", info.mntNamespace);
    return zel::Failed(code) ? code : zel::kOk;
  } catch (...) {
    return zel::ResultFromCurrentException(trace, "Exception caught at line 524 => ");
  }
}

zel::result_t GetProcessParentPid(const zel::Tracer& trace, std::uint32_t pid, std::uint32_t& ppid,
                                  zel::IAllocator* allocator) {
  try {
    if (trace.sink() == nullptr || !IsValidPid(pid)) return zel::kErrInvalidArgument;
    const ProcPath path(pid, "status");
    int fd = -1;
    zel::result_t code = OpenExistingFile(fd, path.c_str(), O_RDONLY | O_CLOEXEC, 0);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace, zel::kTraceError) << "Can't open existing file <" << path.view()
                                         << "> with error 0x" << zel::Hex{code};
      return code;
    }
    FdCloser closer(fd);
    const StatusBuffer buffer(allocator);
    if (buffer.data() == nullptr) return zel::kErrOutOfMemory;

    // One read only: a status file longer than the buffer is judged on its head.
    const ssize_t count = ::read(fd, buffer.data(), kStatusBufferSize);
    if (count < 0) {
      code = zel::ErrnoToResult(errno);
      ZEL_TRACE(trace, zel::kTraceError)
          << "Can't read file <" << path.view() << "> with error 0x" << zel::Hex{code};
      return code;
    }
    if (count <= 8) {
      ZEL_TRACE(trace, zel::kTraceError)
          << "Invalid bytes count <" << count << "> for file <" << path.view() << ">";
      return zel::kErrUnexpected;
    }
    closer.Close();

    StatusFields fields;
    std::uint32_t foundPid = kNoPid;
    std::uint32_t foundPpid = kNoPid;
    code = ParseStatusText(trace, std::string_view(buffer.data(), static_cast<std::size_t>(count)),
                           fields);
    if (zel::Succeeded(code)) code = FindPidsInStatus(trace, fields, foundPid, foundPpid);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace, zel::kTraceError) << "Can't parse process status for PID <" << pid << ">";
      return code;
    }
    // The pid may have been reused between two reads of another caller.
    if (foundPid != pid) {
      ZEL_TRACE(trace, zel::kTraceError) << "Process status data contains invalid PID <"
                                         << foundPid << "> (must be <" << pid << ">)";
      return zel::kErrOutOfRange;
    }
    ppid = foundPpid;
    ZEL_TRACE(trace, zel::kTraceInfo)
        << "Process ID <" << pid << "> parent process ID is <" << ppid << ">";
    return zel::kOk;
  } catch (...) {
    return zel::ResultFromCurrentException(trace, "Exception caught at line 415 => ");
  }
}

}  // namespace vor
