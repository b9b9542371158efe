#include "tests/testing_host/child.h"

#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include <chrono>
#include <filesystem>
#include <thread>

namespace vor::testing {

Child::Child(std::vector<std::string> argv) {
  std::error_code error;
  image_ = std::filesystem::canonical(argv.at(0), error).string();
  std::vector<char*> args;
  for (std::string& arg : argv) args.push_back(arg.data());
  args.push_back(nullptr);
  pid_ = fork();
  if (pid_ == 0) {
    execv(args[0], args.data());
    _exit(127);
  }
  const std::string exe = "/proc/" + std::to_string(pid_) + "/exe";
  for (int i = 0; i < 400 && !std::filesystem::read_symlink(exe, error).string().starts_with(image_);
       ++i) {
    if (waitpid(pid_, nullptr, WNOHANG) == pid_) {  // a short command is already done
      reaped_ = true;
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

Child::~Child() {
  if (pid_ <= 0 || reaped_) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

ScriptedProcesses::ScriptedProcesses(const std::string& script, const std::string& dir) {
  if (geteuid() == 0 && (unshare(CLONE_NEWNS) != 0 ||
                         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)) {
    return;
  }
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  int out[2];
  if (pipe(out) != 0) return;
  group_ = fork();
  if (group_ == 0) {
    setpgid(0, 0);
    dup2(out[1], STDOUT_FILENO);
    close(out[0]);
    close(out[1]);
    execl("/bin/sh", "sh", script.c_str(), dir.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  close(out[1]);
  setpgid(group_, group_);  // as the child does: whichever runs first
  std::string text;
  char buffer[512];
  for (ssize_t n; (n = read(out[0], buffer, sizeof buffer)) > 0;) text.append(buffer, n);
  close(out[0]);
  int status = 0;
  if (waitpid(group_, &status, 0) == group_ && WIFEXITED(status)) status_ = WEXITSTATUS(status);
  for (std::size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
    const std::string line = text.substr(at, end - at);
    const std::size_t equals = line.find('=');
    if (equals != std::string::npos) values_[line.substr(0, equals)] = line.substr(equals + 1);
  }
}

ScriptedProcesses::~ScriptedProcesses() {
  if (group_ <= 0) return;
  kill(-group_, SIGKILL);
  while (waitpid(-group_, nullptr, 0) > 0) {
  }
}

}  // namespace vor::testing
