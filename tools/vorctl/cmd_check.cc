// check-file PATH... and check-pid PID...: ask the loaded module, one answer
// per object; --explain adds the module's own trace lines for each decision.
#include <charconv>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "host_session.h"
#include "output.h"
#include "vor/result.h"

namespace vorctl {
namespace {

struct CheckOptions {
  std::vector<std::string> objects;
  bool explain = false;
};

std::optional<std::uint32_t> ParsePid(const std::string& text) {
  std::uint32_t pid = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), pid);
  if (text.empty() || ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return pid;
}

// Runs `check` on every object and prints the answers; returns the exit status.
template <class Check>
int RunChecks(const Globals& globals, const CheckOptions& options, const std::string& command,
              const char* key, bool numeric_key, Check check) {
  int status = kExitOk;
  std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
  if (!session) return status;

  Json rows = Json::array();
  for (const std::string& object : options.objects) {
    std::vector<std::string> trace;
    const vor::host::Answer answer = check(*session, object, options.explain ? &trace : nullptr);
    const std::string message(vor_result_message(answer.result));
    if (zel::Failed(answer.result)) {
      PrintModuleFailure(command + " " + object, answer.result);
      status = kExitModuleFailed;
    } else if (!answer.critical && status == kExitOk) {
      status = kExitNegative;
    }
    if (globals.json) {
      Json row;
      if (numeric_key) {
        row[key] = *ParsePid(object);
      } else {
        row[key] = object;
      }
      row["critical"] = answer.critical;
      row["result"] = FormatResult(answer.result);
      row["message"] = message;
      if (options.explain) row["trace"] = trace;
      rows.push_back(std::move(row));
    } else {
      std::cout << object << ": ";
      if (zel::Failed(answer.result)) {
        std::cout << message << " (" << FormatResult(answer.result) << ")\n";
      } else {
        std::cout << (answer.critical ? "critical" : "not critical") << '\n';
      }
      for (const std::string& line : trace) std::cout << "  " << line << '\n';
    }
  }
  if (globals.json) PrintJson(rows);
  return status;
}

}  // namespace

void AddCheckCommands(CLI::App& app, const Globals& globals, int& status) {
  auto files = std::make_shared<CheckOptions>();
  CLI::App* check_file =
      app.add_subcommand("check-file", "Ask whether files are critical to the OS")
          ->footer("Example: vorctl check-file /usr/bin/ls /tmp/x\n"
                   "Exit status: 0 all critical, 1 some not critical, 3 a check failed.");
  check_file->add_option("PATH", files->objects, "absolute file paths")->required();
  check_file->add_flag("--explain", files->explain, "show the module's trace lines for each path");
  check_file->callback([&globals, &status, files] {
    status = RunChecks(globals, *files, "check-file", "path", false,
                       [](vor::host::Session& s, const std::string& path, std::vector<std::string>* trace) {
                         return s.CheckFile(path, trace);
                       });
  });

  auto pids = std::make_shared<CheckOptions>();
  CLI::App* check_pid =
      app.add_subcommand("check-pid", "Ask whether running processes are critical to the OS")
          ->footer("Example: vorctl check-pid 1 $$\n"
                   "Exit status: 0 all critical, 1 some not critical, 3 a check failed.");
  check_pid->add_option("PID", pids->objects, "process ids (decimal)")
      ->required()
      ->check([](const std::string& text) {
        return ParsePid(text) ? std::string() : "invalid process id '" + text + "'";
      });
  check_pid->add_flag("--explain", pids->explain, "show the module's trace lines for each pid");
  check_pid->callback([&globals, &status, pids] {
    status = RunChecks(globals, *pids, "check-pid", "pid", true, [](vor::host::Session& s, const std::string& pid, std::vector<std::string>* trace) {
      return s.CheckPid(*ParsePid(pid), trace);
    });
  });
}

}  // namespace vorctl
