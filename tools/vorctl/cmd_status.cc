// status (the default command): what the module sees on this machine.
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "diagnostics.h"
#include "host_session.h"
#include "module/tool_facts.h"
#include "output.h"
#include "vor/result.h"

namespace vorctl {
namespace {

struct CriticalProcess {
  std::uint32_t pid;
  std::string image;
};

}  // namespace

int RunStatus(const Globals& globals) {
  int status = kExitOk;
  std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
  if (!session) return status;

  const vor::facts::OsRelease release = FindOsRelease(*session);
  const vor::facts::FileSet files = BuildFileSet(*session);
  if (zel::Failed(files.result)) {
    PrintModuleFailure(files.failedStep, files.result);
    return kExitModuleFailed;
  }
  std::vector<CriticalProcess> critical;
  for (std::uint32_t pid : ListProcessIds()) {
    if (!session->CheckPid(pid).critical) continue;
    CriticalProcess process{pid, {}};
    vor::facts::ReadImagePath(pid, process.image);
    critical.push_back(std::move(process));
  }

  if (globals.json) {
    Json processes = Json::array();
    for (const CriticalProcess& p : critical) processes.push_back({{"pid", p.pid}, {"image", p.image}});
    PrintJson({{"os_release",
                {{"name", release.name},
                 {"version", release.version},
                 {"result", FormatResult(release.result)},
                 {"message", std::string(vor_result_message(release.result))}}},
               {"module", {{"path", session->modulePath()}, {"version", session->moduleVersion()}}},
               {"library_directories", files.libraryDirectories},
               {"critical_files", files.paths.size()},
               {"critical_processes", processes}});
    return kExitOk;
  }
  std::cout << "OS release:          ";
  if (zel::Failed(release.result)) {
    std::cout << "unknown (" << vor_result_message(release.result) << ", "
              << FormatResult(release.result) << ")\n";
  } else {
    std::cout << release.name << ' ' << release.version << '\n';
  }
  std::cout << "Module:              " << session->modulePath() << " (version "
            << session->moduleVersion() << ")\n";
  std::cout << "Library directories:";
  for (const std::string& dir : files.libraryDirectories) std::cout << ' ' << dir;
  std::cout << "\nCritical files:      " << files.paths.size() << "\n";
  std::cout << "Critical processes:  " << critical.size() << "\n";
  for (const CriticalProcess& p : critical) {
    std::cout << "  " << p.pid << ' ' << (p.image.empty() ? "?" : p.image) << '\n';
  }
  return kExitOk;
}

void AddStatusCommand(CLI::App& app, const Globals& globals, int& status) {
  app.add_subcommand("status", "Show the OS release, module, library directories, critical "
                               "file count and running critical processes (the default)")
      ->footer("Example: vorctl status")
      ->callback([&globals, &status] { status = RunStatus(globals); });
}

}  // namespace vorctl
