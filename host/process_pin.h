// A process held by a pidfd while it is asked about. A pid alone may name
// another process by the time the answer is used; a pidfd names one process
// for good, and tells when that process has exited, so an answer is kept only
// when its process outlived the question.
#ifndef VOR_HOST_PROCESS_PIN_H_
#define VOR_HOST_PROCESS_PIN_H_

#include <cstdint>

#include "vor/result.h"

namespace vor::host {

// The pid, in this process's pid namespace, of the process `pidfd` refers
// to. VOR_E_INVALID_ARGUMENT when `pidfd` is not a pidfd; VOR_E_FILE_NOT_FOUND
// when that process has exited or is not visible from here.
zel::result_t PidOfPidfd(int pidfd, std::uint32_t& pid) noexcept;

// VOR_OK while the process of `pidfd` runs, VOR_E_FILE_NOT_FOUND once it has
// exited (reaped or not), another code when that cannot be told.
zel::result_t StillRunning(int pidfd) noexcept;

// pidfd_open(pid): a descriptor (closed by the destructor), or none with
// `error` saying why (ESRCH: no such process; EINVAL: not a thread-group
// leader, or not a pid at all).
class PidPin {
 public:
  explicit PidPin(std::uint32_t pid) noexcept;
  ~PidPin();
  PidPin(const PidPin&) = delete;
  PidPin& operator=(const PidPin&) = delete;

  int fd() const { return fd_; }
  int error() const { return error_; }

 private:
  int fd_ = -1;
  int error_ = 0;
};

}  // namespace vor::host

#endif  // VOR_HOST_PROCESS_PIN_H_
