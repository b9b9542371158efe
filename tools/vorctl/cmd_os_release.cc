// os-release: the OS name and version that the module finds in the release
// files, read through the reference host's file factory (below --sysroot).
#include <iostream>
#include <optional>
#include <string>

#include "commands.h"
#include "diagnostics.h"
#include "output.h"
#include "reference_host.h"
#include "runtime/result.h"

namespace vorctl {

void AddOsReleaseCommand(CLI::App& app, const Globals& globals, int& status) {
  CLI::App* command =
      app.add_subcommand("os-release", "Print the OS name and version that the module detects")
          ->footer("Example: vorctl --sysroot /srv/image --trace info os-release");
  command->callback([&globals, &status] {
    const std::optional<ReferenceHost> host = ReferenceHost::Create(globals);
    if (!host) {
      status = kExitUsage;
      return;
    }
    const OsReleaseAnswer release = FindOsRelease(*host);
    const zel::result_t code = release.result;
    if (globals.json) {
      PrintJson({{"name", release.name},
                 {"version", release.version},
                 {"result", FormatResult(code)},
                 {"message", std::string(zel::GetResultCodeMessage(code))}});
    } else if (zel::Succeeded(code)) {
      std::cout << "name:    " << release.name << '\n' << "version: " << release.version << '\n';
    }
    if (zel::Failed(code)) {
      PrintModuleFailure("no usable OS release file", code);
      status = kExitModuleFailed;
      return;
    }
    status = kExitOk;
  });
}

}  // namespace vorctl
