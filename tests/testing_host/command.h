// Runs a command line through the shell and captures what it printed, for
// end-to-end tests of vorctl.
#ifndef VOR_TESTS_TESTING_HOST_COMMAND_H_
#define VOR_TESTS_TESTING_HOST_COMMAND_H_

#include <string>

namespace vor::testing {

struct CommandResult {
  int status = -1;  // exit status; -1 when killed by a signal or not run
  std::string out;
  std::string err;
};

CommandResult RunCommand(const std::string& command_line);

// Runs the built vorctl with `args` (already quoted for the shell).
CommandResult RunVorctl(const std::string& args);

// Quotes `text` for the shell.
std::string ShellQuote(const std::string& text);

}  // namespace vor::testing

#endif  // VOR_TESTS_TESTING_HOST_COMMAND_H_
