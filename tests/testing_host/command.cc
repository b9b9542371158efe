#include "tests/testing_host/command.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace vor::testing {

CommandResult RunCommand(const std::string& command_line) {
  char err_path[] = "/tmp/vor-test-stderr-XXXXXX";
  const int err_fd = mkstemp(err_path);
  CommandResult result;
  if (err_fd < 0) return result;
  close(err_fd);
  const std::string command = command_line + " 2>" + err_path;
  if (std::FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[4096];
    while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) result.out.append(buffer, n);
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  std::ifstream err(err_path, std::ios::binary);
  std::ostringstream text;
  text << err.rdbuf();
  result.err = text.str();
  unlink(err_path);
  return result;
}

CommandResult RunVorctl(const std::string& args) {
  return RunCommand(std::string(VOR_VORCTL_PATH) + " " + args);
}

std::string ShellQuote(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

}  // namespace vor::testing
