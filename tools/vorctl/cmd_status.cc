// status (the default command): what the loaded module sees on this machine.
#include <memory>
#include <string>

#include "commands.h"
#include "host_session.h"
#include "output.h"
#include "survey.h"

namespace vorctl {
namespace {

const char* StateName(vor_list_state state) {
  switch (state) {
    case VOR_LIST_LOADED: return "loaded";
    case VOR_LIST_FAILED: return "failed";
    default: return "none";
  }
}

Json OrNull(std::uint32_t value) { return value == 0 ? Json() : Json(value); }

void PrintJsonStatus(const vor::host::Session& session, const Survey& survey, const Globals& globals) {
  const vor::host::ProcessListState& list = survey.list;
  const bool lastFailed = zel::Failed(list.lastLoad.result);
  const vor::host::XmlSyntaxError& syntax = list.lastLoad.syntax;
  Json processes = Json::array();
  for (const CriticalProcess& p : survey.critical) processes.push_back({{"pid", p.pid}, {"image", p.image}});
  PrintJson({{"os",
              {{"name", survey.module.releaseName},
               {"version", survey.module.releaseVersion},
               {"result", FormatResult(survey.module.release)},
               {"message", ResultMessage(survey.module.release)}}},
             {"module", {{"path", session.modulePath()}, {"version", session.moduleVersion()}}},
             {"library_directories", survey.module.libraryDirectories},
             {"critical_files", {{"listed", survey.files.paths.size()}, {"present", survey.present}}},
             {"process_list",
              {{"state", StateName(lastFailed ? VOR_LIST_FAILED : list.inForce)},
               {"in_force", StateName(list.inForce)},
               {"file", globals.storageDir.empty() ? Json() : Json(ListFile(globals))},
               {"entries", list.entries},
               {"matches_every_process", survey.matchesEveryProcess},
               {"result", FormatResult(list.lastLoad.result)},
               {"message", ResultMessage(list.lastLoad.result)},
               {"line", OrNull(syntax.line)},
               {"column", OrNull(syntax.column)},
               {"description", lastFailed && syntax.line != 0 ? Json(syntax.description) : Json()}}},
             {"critical_processes", survey.processesListed ? processes : Json()}});
}

void PrintTextStatus(const vor::host::Session& session, const Survey& survey, const Globals& globals) {
  const vor::host::ModuleFacts& module = survey.module;
  Out() << "OS release:          ";
  if (zel::Failed(module.release)) {
    Out() << "unknown (" << ResultMessage(module.release) << ", " << FormatResult(module.release) << ")\n";
  } else {
    Out() << Shown{module.releaseName} << ' ' << Shown{module.releaseVersion} << '\n';
  }
  Out() << "Module:              " << Shown{session.modulePath()} << " (version "
        << Shown{session.moduleVersion()} << ")\n";
  Out() << "Library directories:";
  for (const std::string& dir : module.libraryDirectories) Out() << ' ' << Shown{dir};
  Out() << "\nCritical files:      " << survey.files.paths.size() << " listed, " << survey.present
        << " present here\n";
  const vor::host::ProcessListState& list = survey.list;
  const bool lastFailed = zel::Failed(list.lastLoad.result);
  Out() << "Process list:        ";
  if (list.inForce == VOR_LIST_LOADED) {
    Out() << "loaded, " << list.entries << " entries from " << Shown{ListFile(globals)};
    if (lastFailed) Out() << ", but the last load failed: ";
  } else if (lastFailed) {
    Out() << "failed: " << Shown{ListFile(globals)} << ": ";
  } else {
    Out() << "none";
  }
  if (lastFailed) {
    const vor::host::XmlSyntaxError& syntax = list.lastLoad.syntax;
    Out() << ResultMessage(list.lastLoad.result) << " (" << FormatResult(list.lastLoad.result) << ")";
    if (syntax.line != 0) {
      Out() << ", line " << syntax.line << ", column " << syntax.column << ": " << Shown{syntax.description};
    }
  }
  Out() << "\nCritical processes:  ";
  if (!survey.processesListed) {
    Out() << "unknown: /proc cannot be listed\n";
    return;
  }
  Out() << survey.critical.size() << "\n";
  for (const CriticalProcess& p : survey.critical) {
    Out() << "  " << p.pid << ' ' << Shown{p.image.empty() ? "?" : p.image} << '\n';
  }
}

}  // namespace

int RunStatus(const Globals& globals) {
  int status = kExitOk;
  std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
  if (!session) return status;
  const Survey survey = TakeSurvey(*session, globals);
  if (globals.json) {
    PrintJsonStatus(*session, survey, globals);
  } else {
    PrintTextStatus(*session, survey, globals);
  }
  WarnIfEveryProcess(survey, globals);
  if (ReportFailedList(*session, globals) || !survey.files.ok || !survey.processesListed) return kExitFailed;
  return kExitOk;
}

void AddStatusCommand(CLI::App& app, const Globals& globals, int& status) {
  app.add_subcommand("status", "Show the OS release, module, library directories, critical "
                               "files, the process list in force and running critical "
                               "processes (the default)")
      ->footer("Example: vorctl --storage /var/opt/storage status\n"
               "Exit status: 0, or 3 when the last load of the process list failed or\n"
               "/proc cannot be listed.")
      ->callback([&globals, &status] { status = RunStatus(globals); });
}

}  // namespace vorctl
