#include "host_session.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>

#include "module/tool_facts.h"
#include "output.h"
#include "vor/session.h"

namespace vorctl {
namespace {

// The first error writing trace lines; lines come from any thread.
std::atomic<int> g_traceError{0};

// "NAME=VALUE" split at the first '='; false without a name or '='.
bool SplitAssignment(const std::string& text, std::pair<std::string, std::string>& out) {
  const std::size_t at = text.find('=');
  if (at == std::string::npos || at == 0) return false;
  out = {text.substr(0, at), text.substr(at + 1)};
  return true;
}

bool ReadAssignments(const std::vector<std::string>& texts, const char* option,
                     std::vector<std::pair<std::string, std::string>>& out) {
  for (const std::string& text : texts) {
    std::pair<std::string, std::string> assignment;
    if (!SplitAssignment(text, assignment)) {
      PrintError(std::string("invalid ") + option + " '" + text + "': expected NAME=VALUE");
      return false;
    }
    out.push_back(std::move(assignment));
  }
  return true;
}

// A setting the module never reads changes nothing: say so, and name the
// ones it reads, so that a misspelt name does not pass for a setting.
void WarnUnread(const std::vector<std::pair<std::string, std::string>>& given,
                const std::vector<std::string>& read, const char* what) {
  for (const auto& [name, value] : given) {
    if (std::find(read.begin(), read.end(), name) != read.end()) continue;
    std::string known;
    for (const std::string& r : read) known += (known.empty() ? "" : ", ") + r;
    PrintWarning(std::string("the module reads no ") + what + " '" + name + "'; it reads: " +
                 (known.empty() ? "none" : known));
  }
}

}  // namespace

std::unique_ptr<vor::host::Session> OpenSession(const Globals& globals, int& status, bool exact) {
  status = kExitUsage;
  // Directories the user named that are not there are usage errors, told
  // before the module is loaded.
  const std::pair<const char*, const std::string*> directories[] = {
      {"storage directory", &globals.storageDir}, {"sysroot", &globals.sysroot}};
  for (const auto& [what, dir] : directories) {
    std::error_code error;
    if (!dir->empty() && !std::filesystem::is_directory(*dir, error)) {
      // /proc/PID/root of another user's process is readable by root alone.
      const bool needsRoot = error == std::errc::permission_denied && geteuid() != 0;
      PrintError(std::string("cannot open ") + what + " '" + *dir + "': " +
                 (error ? error.message() : "not a directory") +
                 (needsRoot ? " (this needs root)" : ""));
      return nullptr;
    }
  }
  vor::host::SessionOptions options;
  options.modulePath = globals.modulePath;
  options.storageDir = globals.storageDir;
  options.root = globals.sysroot;
  options.exact = exact;
  if (!ReadAssignments(globals.flags, "--flag", options.flags) ||
      !ReadAssignments(globals.env, "--env", options.environment)) {
    return nullptr;
  }
  const vor::facts::HostSettings read = vor::facts::SettingsRead();
  WarnUnread(options.flags, read.flags, "feature flag");
  WarnUnread(options.environment, read.environment, "environment value");
  if (!globals.traceLevel.empty()) {
    // The trace stream lives as long as the process: lines may come until exit.
    std::FILE* stream = stderr;
    if (!globals.traceFile.empty()) {
      stream = std::fopen(globals.traceFile.c_str(), "we");
      if (stream == nullptr) {
        PrintErrnoFailure("cannot open trace file '" + globals.traceFile + "'", errno);
        status = kExitFailed;
        return nullptr;
      }
    }
    options.traceLevel = ParseTraceLevel(globals.traceLevel).value_or(VOR_TRACE_NONE);
    options.trace = [stream](std::uint32_t, std::string_view line) {
      std::fwrite(line.data(), 1, line.size(), stream);
      std::fputc('\n', stream);
      if (std::fflush(stream) != 0 && g_traceError == 0) g_traceError = errno;
    };
  }
  std::unique_ptr<vor::host::Session> session;
  std::string error;
  const zel::result_t code = vor::host::Session::Open(options, session, &error);
  if (zel::Failed(code)) {
    PrintModuleFailure(error, code);
    status = kExitFailed;
    return nullptr;
  }
  status = kExitOk;
  return session;
}

int TraceWriteError() { return g_traceError; }

bool ReportFailedList(const vor::host::Session& session, const Globals& globals) {
  const vor::host::ListStatus list = session.processList();
  if (list.state != VOR_LIST_FAILED) return false;
  std::string what = "process list " + ListFile(globals) + " is not in force";
  if (list.syntax.line != 0) {
    what += " (line " + std::to_string(list.syntax.line) + ", column " + std::to_string(list.syntax.column) +
            ": " + list.syntax.description + ")";
  }
  PrintModuleFailure(what, list.result);
  return true;
}

std::string ListFile(const Globals& globals) {
  return (std::filesystem::path(globals.storageDir) / "vor_proc.xms").string();
}

}  // namespace vorctl
