// status (the default command): what the loaded module sees on this machine.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "host_session.h"
#include "module/tool_facts.h"
#include "module_facts.h"
#include "output.h"
#include "processes.h"

namespace vorctl {
namespace {

struct CriticalProcess {
  std::uint32_t pid;
  std::string image;
};

const char* StateName(vor_list_state state) {
  switch (state) {
    case VOR_LIST_LOADED: return "loaded";
    case VOR_LIST_FAILED: return "failed";
    default: return "none";
  }
}

Json OrNull(std::uint32_t value) { return value == 0 ? Json() : Json(value); }

}  // namespace

int RunStatus(const Globals& globals) {
  int status = kExitOk;
  std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
  if (!session) return status;

  const OsRelease release = ModuleOsRelease(*session);
  const std::vector<std::string> directories = ModuleLibraryDirectories(*session);
  const CriticalFiles files = ConfirmedFileSet(*session);
  const Presence present(globals);
  const auto presentCount = std::count_if(files.paths.begin(), files.paths.end(), std::cref(present));
  const vor::host::ListStatus list = session->processList();
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
    const bool failed = list.state == VOR_LIST_FAILED;
    PrintJson({{"os",
                {{"name", release.name},
                 {"version", release.version},
                 {"result", FormatResult(release.result)},
                 {"message", ResultMessage(release.result)}}},
               {"module", {{"path", session->modulePath()}, {"version", session->moduleVersion()}}},
               {"library_directories", directories},
               {"critical_files", {{"listed", files.paths.size()}, {"present", presentCount}}},
               {"process_list",
                {{"state", StateName(list.state)},
                 {"file", globals.storageDir.empty() ? Json() : Json(ListFile(globals))},
                 {"entries", list.entries},
                 {"result", FormatResult(list.result)},
                 {"message", ResultMessage(list.result)},
                 {"line", OrNull(list.syntax.line)},
                 {"column", OrNull(list.syntax.column)},
                 {"description", failed && list.syntax.line != 0 ? Json(list.syntax.description) : Json()}}},
               {"critical_processes", processes}});
  } else {
    Out() << "OS release:          ";
    if (zel::Failed(release.result)) {
      Out() << "unknown (" << ResultMessage(release.result) << ", "
            << FormatResult(release.result) << ")\n";
    } else {
      Out() << release.name << ' ' << release.version << '\n';
    }
    Out() << "Module:              " << session->modulePath() << " (version "
          << session->moduleVersion() << ")\n";
    Out() << "Library directories:";
    for (const std::string& dir : directories) Out() << ' ' << dir;
    Out() << "\nCritical files:      " << files.paths.size() << " listed, " << presentCount
          << " present here\n";
    Out() << "Process list:        " << StateName(list.state);
    if (list.state == VOR_LIST_LOADED) {
      Out() << ", " << list.entries << " entries from " << ListFile(globals);
    } else if (list.state == VOR_LIST_FAILED) {
      Out() << ": " << ListFile(globals) << ": " << ResultMessage(list.result) << " ("
            << FormatResult(list.result) << ")";
      if (list.syntax.line != 0) {
        Out() << ", line " << list.syntax.line << ", column " << list.syntax.column << ": " << list.syntax.description;
      }
    }
    Out() << "\nCritical processes:  " << critical.size() << "\n";
    for (const CriticalProcess& p : critical) {
      Out() << "  " << p.pid << ' ' << (p.image.empty() ? "?" : p.image) << '\n';
    }
  }
  if (ReportFailedList(*session, globals) || !files.ok) return kExitFailed;
  return kExitOk;
}

void AddStatusCommand(CLI::App& app, const Globals& globals, int& status) {
  app.add_subcommand("status", "Show the OS release, module, library directories, critical "
                               "files, the process list in force and running critical "
                               "processes (the default)")
      ->footer("Example: vorctl --storage /var/opt/storage status\n"
               "Exit status: 0, or 3 when the process list in force failed.")
      ->callback([&globals, &status] { status = RunStatus(globals); });
}

}  // namespace vorctl
