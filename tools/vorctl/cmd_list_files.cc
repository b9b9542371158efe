// list-files: the critical file set this machine gets, sorted, one per line,
// each path confirmed by the loaded module; --missing: those absent here;
// --entries: every spelling, on this machine, of each critical entry present.
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "commands.h"
#include "host_session.h"
#include "module_facts.h"
#include "output.h"

namespace vorctl {
namespace {

struct ListOptions {
  bool missing = false;
  bool entries = false;
};

int ListFiles(const Globals& globals, const ListOptions& options) {
  int status = kExitOk;
  std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
  if (!session) return status;
  const CriticalFiles files = ConfirmedFileSet(*session);
  int exit = files.ok ? kExitOk : kExitFailed;
  const Presence present(globals);
  std::set<std::string> listed;
  std::vector<std::string> spellings;
  for (const std::string& path : files.paths) {
    if ((options.missing || options.entries) && options.missing == present(path)) continue;
    if (!options.entries) {
      listed.insert(path);
      continue;
    }
    const zel::result_t code = session->EntrySpellings(path, spellings);
    if (zel::Failed(code)) {
      PrintModuleFailure("cannot spell the entry of '" + path + "'", code);
      exit = kExitFailed;
    }
    listed.insert(spellings.begin(), spellings.end());
  }
  Json list = Json::array();
  for (const std::string& path : listed) {
    if (globals.json) {
      list.push_back(path);
    } else {
      Out() << Shown{path} << '\n';
    }
  }
  if (globals.json) PrintJson(list);
  return ReportFailedList(*session, globals) ? kExitFailed : exit;
}

}  // namespace

void AddListFilesCommand(CLI::App& app, const Globals& globals, int& status) {
  auto options = std::make_shared<ListOptions>();
  CLI::App* command =
      app.add_subcommand("list-files", "Print the critical file set of this machine, sorted")
          ->footer("Examples: vorctl --json list-files\n"
                   "          vorctl list-files --missing   (listed, but absent here)\n"
                   "          vorctl list-files --entries   (every spelling of those present)");
  command->add_flag("--missing", options->missing,
                    "only the paths that do not exist here (the set covers many distributions)");
  command->add_flag("--entries", options->entries,
                    "every spelling, on this machine, of each critical entry present here "
                    "(through /bin -> usr/bin and the like); under --sysroot the module's own")
      ->excludes("--missing");
  command->callback([&globals, &status, options] { status = ListFiles(globals, *options); });
}

}  // namespace vorctl
