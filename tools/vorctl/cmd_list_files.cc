// list-files: the critical file set this machine gets, sorted, one per line.
// The list is built here with the reference host, as the module builds it.
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "commands.h"
#include "filelist/vor_list.h"
#include "host/directory_storage.h"
#include "host/host_object.h"
#include "osinfo/os_release_info.h"
#include "output.h"
#include "reference_host.h"
#include "runtime/result.h"

namespace vorctl {
namespace {

int ListFiles(const Globals& globals) {
  std::optional<ReferenceHost> host = ReferenceHost::Create(globals);
  if (!host) return kExitUsage;
  // The list takes nothing from storage, but an update needs one.
  vor::Ref<vor::host::DirectoryStorage> storage =
      vor::host::MakeHostObject<vor::host::DirectoryStorage>(globals.storageDir);
  if (!storage->ok()) {
    PrintError("cannot open storage directory '" + globals.storageDir + "'");
    return kExitUsage;
  }

  std::vector<std::string> paths;
  try {
    vor::VorList list(host->locator());
    // The release only gates features the list does not have; unknown is fine.
    const vor::OsReleaseInfo release;
    zel::result_t code = list.Init(host->allocator(), release);
    if (zel::Failed(code)) {
      PrintModuleFailure("file list init", code);
      return kExitModuleFailed;
    }
    code = list.Update(storage.get());
    if (zel::Failed(code)) {
      PrintModuleFailure("file list update", code);
      return kExitModuleFailed;
    }
    code = list.CopySortedPaths(paths);
    if (zel::Failed(code)) {
      PrintModuleFailure("file list", code);
      return kExitModuleFailed;
    }
  } catch (const std::exception& e) {
    PrintError(std::string("file list: ") + e.what());
    return kExitModuleFailed;
  }

  if (globals.json) {
    PrintJson(nlohmann::json(paths));
  } else {
    for (const std::string& path : paths) std::cout << path << '\n';
  }
  return kExitOk;
}

}  // namespace

void AddListFilesCommand(CLI::App& app, const Globals& globals, int& status) {
  CLI::App* command =
      app.add_subcommand("list-files", "Print the critical file set of this machine, sorted");
  command->callback([&globals, &status] { status = ListFiles(globals); });
}

}  // namespace vorctl
