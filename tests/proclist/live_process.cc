#include "tests/proclist/live_process.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

namespace vor::testing {

LiveProcess::LiveProcess(std::vector<std::string> argv, bool newMountNamespace) {
  int report[2];
  if (::pipe2(report, O_CLOEXEC) != 0) return;
  std::vector<char*> args;
  for (std::string& arg : argv) args.push_back(arg.data());
  args.push_back(nullptr);
  pid_ = ::fork();
  if (pid_ == 0) {
    ::close(report[0]);
    if (newMountNamespace && ::unshare(CLONE_NEWNS) != 0) {
      const int error = errno;
      (void)!::write(report[1], &error, sizeof error);
      ::_exit(77);
    }
    ::execv(args[0], args.data());
    const int error = -errno;
    (void)!::write(report[1], &error, sizeof error);
    ::_exit(127);
  }
  ::close(report[1]);
  int error = 0;
  // The pipe closes on exec, so this read returns 0 once the child runs.
  if (pid_ > 0 && ::read(report[0], &error, sizeof error) == sizeof error && error > 0) {
    unshareError_ = error;
  }
  ::close(report[0]);
}

LiveProcess::~LiveProcess() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  int status = 0;
  ::waitpid(pid_, &status, 0);
}

bool LiveProcess::WaitForImage(const std::string& path) const {
  for (int i = 0; i < 500; ++i) {
    if (ReadLink("/proc/" + std::to_string(pid_) + "/exe").starts_with(path)) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return false;
}

TempDir::TempDir() {
  char pattern[] = "/tmp/vor_proclist_XXXXXX";
  const char* made = ::mkdtemp(pattern);
  path_ = made != nullptr ? made : "";
}

TempDir::~TempDir() {
  if (path_.empty()) return;
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::Write(const std::string& name, const std::string& content) const {
  const std::string file = path_ + "/" + name;
  std::ofstream(file, std::ios::binary | std::ios::trunc) << content;
  return file;
}

void CopyExecutable(const std::string& from, const std::string& to) {
  std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing);
  ::chmod(to.c_str(), 0755);
}

std::string RealPath(const std::string& path) {
  char buffer[PATH_MAX] = {};
  return ::realpath(path.c_str(), buffer) != nullptr ? buffer : "";
}

std::string ReadLink(const std::string& path) {
  char buffer[PATH_MAX] = {};
  const ssize_t n = ::readlink(path.c_str(), buffer, sizeof buffer - 1);
  return n > 0 ? std::string(buffer, n) : "";
}

}  // namespace vor::testing
