#include "tests/testing_host/child.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

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

}  // namespace vor::testing
