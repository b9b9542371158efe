#include "host/process_pin.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <string_view>

#include "host/posix_file.h"

namespace vor::host {

zel::result_t PidOfPidfd(int pidfd, std::uint32_t& pid) noexcept {
  pid = 0;
  if (pidfd < 0) return VOR_E_INVALID_ARGUMENT;
  // Only a pidfd's fdinfo has a "Pid:" line: the kernel's own way to tell
  // which process it holds, -1 once that one is gone, 0 when it lives in a
  // pid namespace this process cannot see.
  char path[48];
  std::snprintf(path, sizeof path, "/proc/self/fdinfo/%d", pidfd);
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return errno == ENOENT ? VOR_E_INVALID_ARGUMENT : ResultFromErrno(errno);
  char text[1024];
  std::size_t length = 0;
  for (ssize_t n; length < sizeof text && (n = ::read(fd, text + length, sizeof text - length)) != 0;) {
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) break;
    length += static_cast<std::size_t>(n);
  }
  ::close(fd);
  const std::string_view info(text, length);
  constexpr std::string_view kPid = "\nPid:\t";
  const std::size_t at = info.find(kPid);
  if (at == std::string_view::npos) return VOR_E_INVALID_ARGUMENT;
  const char* first = info.data() + at + kPid.size();
  const char* last = info.data() + info.size();
  long value = 0;
  const auto [end, ec] = std::from_chars(first, last, value);
  if (ec != std::errc() || end == first) return VOR_E_INVALID_ARGUMENT;
  if (value <= 0) return VOR_E_FILE_NOT_FOUND;
  pid = static_cast<std::uint32_t>(value);
  return StillRunning(pidfd);
}

zel::result_t StillRunning(int pidfd) noexcept {
  // A pidfd turns readable when its process exits, before it is reaped too.
  pollfd poll{pidfd, POLLIN, 0};
  for (;;) {
    const int n = ::poll(&poll, 1, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return ResultFromErrno(errno);
    if (poll.revents & POLLNVAL) return VOR_E_INVALID_ARGUMENT;
    return n == 0 ? VOR_OK : VOR_E_FILE_NOT_FOUND;
  }
}

PidPin::PidPin(std::uint32_t pid) noexcept {
  fd_ = static_cast<int>(::syscall(SYS_pidfd_open, static_cast<pid_t>(pid), 0));
  if (fd_ < 0) error_ = errno;
}

PidPin::~PidPin() {
  if (fd_ >= 0) ::close(fd_);
}

}  // namespace vor::host
