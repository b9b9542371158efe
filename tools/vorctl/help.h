// vorctl's help, written for people: "-h, --help", a value's name without the
// parser's type words, and what the parser says of a usage error in the
// words of a command-line tool.
#ifndef VOR_TOOLS_VORCTL_HELP_H_
#define VOR_TOOLS_VORCTL_HELP_H_

#include <string>

#include <CLI/CLI.hpp>

namespace vorctl {

// Sets the help flag and the formatter of `app` (subcommands added later
// take them too).
void SetUpHelp(CLI::App& app);

// One line for a usage error, without "vorctl: " (an unknown command is
// named as such, with the commands there are).
std::string UsageErrorText(const CLI::App& app, const CLI::ParseError& error);

}  // namespace vorctl

#endif  // VOR_TOOLS_VORCTL_HELP_H_
