// status (the default command): what the module sees on this machine.
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "diagnostics.h"
#include "module_session.h"
#include "output.h"
#include "proclist/process_info.h"
#include "reference_host.h"
#include "runtime/result.h"
#include "runtime/string.h"

namespace vorctl {
namespace {

struct CriticalProcess {
  std::uint32_t pid;
  std::string image;
};

std::string VersionText(const ModuleVersionRecord& record) {
  return std::to_string(record.version[0]) + "." + std::to_string(record.version[1]) + "." +
         std::to_string(record.version[2]) + "." + std::to_string(record.version[3]);
}

}  // namespace

int RunStatus(const Globals& globals) {
  std::optional<ReferenceHost> host = ReferenceHost::Create(globals);
  if (!host) return kExitUsage;
  std::unique_ptr<ModuleSession> session = ModuleSession::Open(globals, *host);
  if (!session) return kExitModuleFailed;

  const OsReleaseAnswer release = FindOsRelease(*host);
  const FileListAnswer files = BuildFileList(*host, host->storage());
  if (zel::Failed(files.result)) {
    PrintModuleFailure(files.failedStep, files.result);
    return kExitModuleFailed;
  }
  std::vector<CriticalProcess> critical;
  const zel::Tracer& quiet = host->silent();
  for (std::uint32_t pid : ListProcessIds()) {
    if (!session->CheckPid(pid).critical) continue;
    zel::string image;
    vor::GetProcessImagePath(quiet, pid, image);
    critical.push_back({pid, std::string(image.view())});
  }

  if (globals.json) {
    Json processes = Json::array();
    for (const CriticalProcess& p : critical) processes.push_back({{"pid", p.pid}, {"image", p.image}});
    PrintJson({{"os_release",
                {{"name", release.name},
                 {"version", release.version},
                 {"result", FormatResult(release.result)},
                 {"message", std::string(zel::GetResultCodeMessage(release.result))}}},
               {"module", {{"path", session->module_path()}, {"version", VersionText(session->version())}}},
               {"library_directories", files.libraryDirectories},
               {"critical_files", files.paths.size()},
               {"critical_processes", processes}});
    return kExitOk;
  }
  std::cout << "OS release:          ";
  if (zel::Failed(release.result)) {
    std::cout << "unknown (" << zel::GetResultCodeMessage(release.result) << ", "
              << FormatResult(release.result) << ")\n";
  } else {
    std::cout << release.name << ' ' << release.version << '\n';
  }
  std::cout << "Module:              " << session->module_path() << " (version "
            << VersionText(session->version()) << ")\n";
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
