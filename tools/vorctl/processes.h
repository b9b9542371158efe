// vorctl's own reading of /proc, and pid checks pinned to their process.
#ifndef VOR_TOOLS_VORCTL_PROCESSES_H_
#define VOR_TOOLS_VORCTL_PROCESSES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "vor/session.hpp"

namespace vorctl {

// The ids of the running processes, read from /proc; on failure prints why
// and returns false. A /proc that does not hold vorctl's own process is not
// the process file system (not mounted, or another one over it).
bool ListProcessIds(std::vector<std::uint32_t>& pids);

// Whether the kernel marks the process a kernel thread (PF_KTHREAD in
// /proc/PID/stat); false when that cannot be read.
bool IsKernelThread(std::uint32_t pid);

// The mount namespace link of a process ("self" for vorctl's own); empty when
// unreadable, with `denied` set when that was for want of privilege.
std::string MountNamespace(const std::string& pid, bool& denied);

struct ProcessAnswer {
  vor::host::Answer answer;
  bool exited = false;        // the process exited while it was asked about
  bool kernelThread = false;  // the check failed on a kernel thread, which has no image
};

// Asks the session about the process `pid` names now, held by a pidfd for the
// whole question; a thread id that leads no thread group is asked by pid.
ProcessAnswer AskAboutProcess(vor::host::Session& session, std::uint32_t pid,
                              std::vector<std::string>* explain);

}  // namespace vorctl

#endif  // VOR_TOOLS_VORCTL_PROCESSES_H_
