// list-files: the critical file set this machine gets, sorted, one per line.
// The list is built here with the reference host, as the module builds it.
#include <iostream>
#include <optional>
#include <string>

#include "commands.h"
#include "diagnostics.h"
#include "output.h"
#include "reference_host.h"
#include "runtime/result.h"

namespace vorctl {
namespace {

int ListFiles(const Globals& globals) {
  std::optional<ReferenceHost> host = ReferenceHost::Create(globals);
  if (!host) return kExitUsage;
  const FileListAnswer files = BuildFileList(*host, host->storage());
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
