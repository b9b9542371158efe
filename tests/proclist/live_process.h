// Real child processes for the /proc tests: spawned with fork/exec, killed
// and reaped when the helper goes.
#ifndef VOR_TESTS_PROCLIST_LIVE_PROCESS_H_
#define VOR_TESTS_PROCLIST_LIVE_PROCESS_H_

#include <sys/types.h>

#include <string>
#include <vector>

namespace vor::testing {

class LiveProcess {
 public:
  // Runs `argv` (argv[0] is the executable). With `newMountNamespace` the
  // child unshares its mount namespace before exec; unshareError() tells
  // whether the kernel refused.
  explicit LiveProcess(std::vector<std::string> argv, bool newMountNamespace = false);
  ~LiveProcess();
  LiveProcess(const LiveProcess&) = delete;
  LiveProcess& operator=(const LiveProcess&) = delete;

  pid_t pid() const { return pid_; }
  // errno of a refused unshare (the child then exited), 0 otherwise.
  int unshareError() const { return unshareError_; }
  // Waits until /proc/<pid>/exe names `path` (the exec has happened).
  bool WaitForImage(const std::string& path) const;

 private:
  pid_t pid_ = -1;
  int unshareError_ = 0;
};

// A unique empty directory under /tmp, removed with its content.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  const std::string& path() const { return path_; }
  std::string Write(const std::string& name, const std::string& content) const;

 private:
  std::string path_;
};

// Copies an executable to `to` with mode 0755.
void CopyExecutable(const std::string& from, const std::string& to);

// realpath(3) and readlink(2) as strings, empty on failure.
std::string RealPath(const std::string& path);
std::string ReadLink(const std::string& path);

}  // namespace vor::testing

#endif  // VOR_TESTS_PROCLIST_LIVE_PROCESS_H_
