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

  const vor::host::ModuleFacts facts = session->moduleFacts();
  const CriticalFiles files = ConfirmedFileSet(*session);
  const Presence present(globals);
  const auto presentCount = std::count_if(files.paths.begin(), files.paths.end(), std::cref(present));
  const vor::host::ProcessListState list = session->processListState();
  const bool lastFailed = zel::Failed(list.lastLoad.result);
  const vor::host::XmlSyntaxError& syntax = list.lastLoad.syntax;
  std::vector<CriticalProcess> critical;
  std::vector<std::uint32_t> pids;
  const bool listed = ListProcessIds(pids);
  for (std::uint32_t pid : pids) {
    if (!session->CheckPid(pid).critical) continue;
    CriticalProcess process{pid, {}};
    vor::facts::ReadImagePath(pid, process.image);
    critical.push_back(std::move(process));
  }

  if (globals.json) {
    Json processes = Json::array();
    for (const CriticalProcess& p : critical) processes.push_back({{"pid", p.pid}, {"image", p.image}});
    PrintJson({{"os",
                {{"name", facts.releaseName},
                 {"version", facts.releaseVersion},
                 {"result", FormatResult(facts.release)},
                 {"message", ResultMessage(facts.release)}}},
               {"module", {{"path", session->modulePath()}, {"version", session->moduleVersion()}}},
               {"library_directories", facts.libraryDirectories},
               {"critical_files", {{"listed", files.paths.size()}, {"present", presentCount}}},
               {"process_list",
                {{"state", StateName(lastFailed ? VOR_LIST_FAILED : list.inForce)},
                 {"in_force", StateName(list.inForce)},
                 {"file", globals.storageDir.empty() ? Json() : Json(ListFile(globals))},
                 {"entries", list.entries},
                 {"result", FormatResult(list.lastLoad.result)},
                 {"message", ResultMessage(list.lastLoad.result)},
                 {"line", OrNull(syntax.line)},
                 {"column", OrNull(syntax.column)},
                 {"description", lastFailed && syntax.line != 0 ? Json(syntax.description) : Json()}}},
               {"critical_processes", listed ? processes : Json()}});
  } else {
    Out() << "OS release:          ";
    if (zel::Failed(facts.release)) {
      Out() << "unknown (" << ResultMessage(facts.release) << ", " << FormatResult(facts.release) << ")\n";
    } else {
      Out() << facts.releaseName << ' ' << facts.releaseVersion << '\n';
    }
    Out() << "Module:              " << session->modulePath() << " (version "
          << session->moduleVersion() << ")\n";
    Out() << "Library directories:";
    for (const std::string& dir : facts.libraryDirectories) Out() << ' ' << dir;
    Out() << "\nCritical files:      " << files.paths.size() << " listed, " << presentCount
          << " present here\n";
    Out() << "Process list:        ";
    if (list.inForce == VOR_LIST_LOADED) {
      Out() << "loaded, " << list.entries << " entries from " << ListFile(globals);
      if (lastFailed) Out() << ", but the last load failed: ";
    } else if (lastFailed) {
      Out() << "failed: " << ListFile(globals) << ": ";
    } else {
      Out() << "none";
    }
    if (lastFailed) {
      Out() << ResultMessage(list.lastLoad.result) << " (" << FormatResult(list.lastLoad.result) << ")";
      if (syntax.line != 0) {
        Out() << ", line " << syntax.line << ", column " << syntax.column << ": " << syntax.description;
      }
    }
    Out() << "\nCritical processes:  ";
    if (listed) {
      Out() << critical.size() << "\n";
    } else {
      Out() << "unknown: /proc cannot be listed\n";
    }
    for (const CriticalProcess& p : critical) {
      Out() << "  " << p.pid << ' ' << (p.image.empty() ? "?" : p.image) << '\n';
    }
  }
  if (ReportFailedList(*session, globals) || !files.ok || !listed) return kExitFailed;
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
