#include "processes.h"

#include "output.h"

#include <dirent.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <sstream>

namespace vorctl {

bool ListProcessIds(std::vector<std::uint32_t>& pids) {
  pids.clear();
  DIR* proc = opendir("/proc");
  if (proc == nullptr) {
    PrintErrnoFailure("cannot list the processes in /proc", errno);
    return false;
  }
  const auto self = static_cast<std::uint32_t>(::getpid());
  bool found = false;
  int error = 0;
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(proc);
    if (entry == nullptr) {
      error = errno;
      break;
    }
    const std::string_view name = entry->d_name;
    std::uint32_t pid = 0;
    const auto [end, ec] = std::from_chars(name.data(), name.data() + name.size(), pid);
    if (ec != std::errc() || end != name.data() + name.size() || pid == 0) continue;
    pids.push_back(pid);
    found = found || pid == self;
  }
  closedir(proc);
  if (error != 0) {
    PrintErrnoFailure("cannot list the processes in /proc", error);
    return false;
  }
  if (!found) {
    PrintModuleFailure("cannot list the processes: /proc does not show this process; is it mounted?",
                       VOR_E_NOT_FOUND);
    return false;
  }
  return true;
}

bool IsKernelThread(std::uint32_t pid) {
  // The flags are the ninth field of /proc/PID/stat, counted after the
  // command name, which may itself hold spaces and parentheses.
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string text;
  std::getline(stat, text);
  const std::size_t close = text.rfind(')');
  if (close == std::string::npos) return false;
  std::istringstream fields(text.substr(close + 1));
  std::string field;
  for (int i = 0; i < 7 && fields >> field; ++i) {
  }
  unsigned long flags = 0;
  std::from_chars(field.data(), field.data() + field.size(), flags);
  return (flags & 0x00200000ul) != 0;
}

std::string MountNamespace(const std::string& pid, bool& denied) {
  char target[64];
  const ssize_t n = ::readlink(("/proc/" + pid + "/ns/mnt").c_str(), target, sizeof target);
  if (n < 0 && (errno == EACCES || errno == EPERM)) denied = true;
  return n > 0 ? std::string(target, static_cast<std::size_t>(n)) : std::string();
}

ProcessAnswer AskAboutProcess(vor::host::Session& session, std::uint32_t pid,
                              std::vector<std::string>* explain) {
  ProcessAnswer out;
  const int pidfd = static_cast<int>(::syscall(SYS_pidfd_open, static_cast<pid_t>(pid), 0));
  if (pidfd >= 0) {
    out.answer = session.CheckPidfd(pidfd, explain);
    pollfd exited{pidfd, POLLIN, 0};
    out.exited = zel::Failed(out.answer.result) && ::poll(&exited, 1, 0) == 1;
    ::close(pidfd);
  } else {
    out.answer = session.CheckPid(pid, explain);
  }
  out.kernelThread = zel::Failed(out.answer.result) && !out.exited && IsKernelThread(pid);
  return out;
}

}  // namespace vorctl
