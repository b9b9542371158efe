// os-release: the OS name and version that the module finds in the release
// files, read through the session's file factory (below --sysroot).
#include <iostream>
#include <optional>
#include <string>

#include "commands.h"
#include "diagnostics.h"
#include "host_session.h"
#include "output.h"
#include "vor/result.h"

namespace vorctl {

void AddOsReleaseCommand(CLI::App& app, const Globals& globals, int& status) {
  CLI::App* command =
      app.add_subcommand("os-release", "Print the OS name and version that the module detects")
          ->footer("Example: vorctl --sysroot /srv/image --trace info os-release");
  command->callback([&globals, &status] {
    std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
    if (!session) return;
    const vor::facts::OsRelease release = FindOsRelease(*session);
    const zel::result_t code = release.result;
    if (globals.json) {
      PrintJson({{"name", release.name},
                 {"version", release.version},
                 {"result", FormatResult(code)},
                 {"message", vor_result_message(code)}});
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
