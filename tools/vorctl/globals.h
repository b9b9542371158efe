// The global options of vorctl and the exit statuses of its contract.
#ifndef VOR_TOOLS_VORCTL_GLOBALS_H_
#define VOR_TOOLS_VORCTL_GLOBALS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vorctl {

enum ExitStatus : int {
  kExitOk = 0,            // success; for checks: every object critical
  kExitNegative = 1,      // some object not critical, or an invalid document
  kExitUsage = 2,         // usage error
  kExitFailed = 3,        // a question failed, the process list in force failed,
                          // or output could not be written
};

struct Globals {
  std::string modulePath;  // empty: the module beside the tool
  std::string storageDir;  // empty: an empty storage
  std::string sysroot;  // empty: "/"
  std::vector<std::string> flags;    // NAME=VALUE
  std::vector<std::string> env;      // NAME=VALUE
  std::string traceLevel;            // empty: no trace
  std::string traceFile;             // empty: stderr
  bool json = false;
  bool version = false;
};

// "error", "warning", "info", "debug" or a number; nullopt when malformed.
std::optional<std::uint32_t> ParseTraceLevel(const std::string& text);

}  // namespace vorctl

#endif  // VOR_TOOLS_VORCTL_GLOBALS_H_
