// list-files: the critical file set this machine gets, sorted, one per line,
// each path confirmed by the loaded module; --missing: those absent here.
#include <memory>
#include <string>

#include "commands.h"
#include "host_session.h"
#include "module_facts.h"
#include "output.h"

namespace vorctl {
namespace {

int ListFiles(const Globals& globals, bool missing) {
  int status = kExitOk;
  std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
  if (!session) return status;
  const CriticalFiles files = ConfirmedFileSet(*session);
  const Presence present(globals);
  Json list = Json::array();
  for (const std::string& path : files.paths) {
    if (missing && present(path)) continue;
    if (globals.json) {
      list.push_back(path);
    } else {
      Out() << path << '\n';
    }
  }
  if (globals.json) PrintJson(list);
  return files.ok ? kExitOk : kExitFailed;
}

}  // namespace

void AddListFilesCommand(CLI::App& app, const Globals& globals, int& status) {
  auto missing = std::make_shared<bool>(false);
  CLI::App* command =
      app.add_subcommand("list-files", "Print the critical file set of this machine, sorted")
          ->footer("Examples: vorctl --json list-files\n"
                   "          vorctl list-files --missing   (listed, but absent here)");
  command->add_flag("--missing", *missing,
                    "only the paths that do not exist here (the set covers many distributions)");
  command->callback([&globals, &status, missing] { status = ListFiles(globals, *missing); });
}

}  // namespace vorctl
