// Facts about running processes from /proc: the executable's image path, a
// namespace link and the parent process ID. Every operation reports by result
// code only and writes its trace lines ("vor: ...") through `trace`.
#ifndef VOR_PROCLIST_PROCESS_INFO_H_
#define VOR_PROCLIST_PROCESS_INFO_H_

#include <sys/types.h>

#include <cstdint>
#include <string_view>

#include "runtime/string.h"
#include "runtime/trace.h"
#include "vor/host_services.h"

namespace vor {

// The "no process" ID; together with 0 it is never a valid argument.
inline constexpr std::uint32_t kNoPid = 0xFFFFFFFF;

// The file a process runs, as the kernel holds it: what /proc/<pid>/exe
// opens, whatever its path text says. A path names the running image only
// when it leads to this same file.
struct ImageIdentity {
  bool known = false;    // false: could not be read; counts for nothing
  bool deleted = false;  // the file has no name left (removed or replaced)
  dev_t device = 0;
  ino_t inode = 0;
};

struct ProcessInfo {
  ProcessInfo() = default;
  explicit ProcessInfo(zel::IAllocator* allocator) : imagePath(allocator), mntNamespace(allocator) {}
  // Back to "no process": pid 0xFFFFFFFF, both strings empty, image unknown.
  void Reset() {
    pid = kNoPid;
    imagePath.clear();
    mntNamespace.clear();
    image = {};
  }

  std::uint32_t pid = kNoPid;
  zel::string imagePath;     // resolved path of the executable
  zel::string mntNamespace;  // "mnt:[4026531841]"; empty when unknown
  ImageIdentity image;       // read with the path; unknown when that failed
};

// realpath of /proc/<pid>/exe; when the target is absent or the kernel marks
// the executable deleted, the link text itself with " (deleted)" cut off.
zel::result_t GetProcessImagePath(const zel::Tracer& trace, std::uint32_t pid, zel::string& path);

// Target of /proc/<pid>/ns/<name>. A process without that link is a success
// with `target` left empty.
zel::result_t GetProcessNamespace(const zel::Tracer& trace, std::uint32_t pid,
                                  std::string_view name, zel::string& target);

// The identity of the file /proc/<pid>/exe opens; unknown on any failure.
ImageIdentity GetProcessImageIdentity(std::uint32_t pid) noexcept;

// Whether `path` leads, in this process's mount namespace, to the file
// `image` identifies. A deleted image has no name left to compare: it counts
// by the name it had. An unknown identity never counts.
bool IsRunningImage(const ImageIdentity& image, const char* path) noexcept;

// Resets `info`, then fills pid, image path, image identity and mount
// namespace. A failure to read the identity leaves it unknown and is not
// reported.
zel::result_t GetProcessInfo(const zel::Tracer& trace, std::uint32_t pid, ProcessInfo& info);

// The PPid of /proc/<pid>/status, from one read of at most 64 KiB taken from
// `allocator` (the C heap when null).
zel::result_t GetProcessParentPid(const zel::Tracer& trace, std::uint32_t pid, std::uint32_t& ppid,
                                  zel::IAllocator* allocator = nullptr);

}  // namespace vor

#endif  // VOR_PROCLIST_PROCESS_INFO_H_
