// list-files: the critical file set this machine gets, sorted, one per line.
// The list is built with the module's own code over the session's services.
#include <iostream>
#include <optional>
#include <string>

#include "commands.h"
#include "diagnostics.h"
#include "host_session.h"
#include "output.h"
#include "vor/result.h"

namespace vorctl {
namespace {

int ListFiles(const Globals& globals) {
  int status = kExitOk;
  std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
  if (!session) return status;
  const vor::facts::FileSet files = BuildFileSet(*session);
  if (zel::Failed(files.result)) {
    PrintModuleFailure(files.failedStep, files.result);
    return kExitModuleFailed;
  }
  if (globals.json) {
    PrintJson(Json(files.paths));
  } else {
    for (const std::string& path : files.paths) std::cout << path << '\n';
  }
  return kExitOk;
}

}  // namespace

void AddListFilesCommand(CLI::App& app, const Globals& globals, int& status) {
  CLI::App* command =
      app.add_subcommand("list-files", "Print the critical file set of this machine, sorted")
          ->footer("Example: vorctl --json list-files");
  command->callback([&globals, &status] { status = ListFiles(globals); });
}

}  // namespace vorctl
