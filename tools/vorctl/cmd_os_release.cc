// os-release: the OS name and version that the loaded module found in the
// release files (below --sysroot), as its own startup lines tell them.
#include <memory>
#include <string>

#include "commands.h"
#include "host_session.h"
#include "module_facts.h"
#include "output.h"

namespace vorctl {

void AddOsReleaseCommand(CLI::App& app, const Globals& globals, int& status) {
  CLI::App* command =
      app.add_subcommand("os-release", "Print the OS name and version that the module detects")
          ->footer("Examples: vorctl --sysroot /srv/image --trace info os-release\n"
                   "          sudo vorctl --sysroot /proc/PID/root os-release   (a container's OS)");
  command->callback([&globals, &status] {
    std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
    if (!session) return;
    const OsRelease release = ModuleOsRelease(*session);
    const bool failed = zel::Failed(release.result);
    if (globals.json) {
      PrintJson({{"name", release.name},
                 {"version", release.version},
                 {"result", FormatResult(release.result)},
                 {"message", ResultMessage(release.result)}});
    } else if (!failed) {
      Out() << "name:    " << release.name << '\n' << "version: " << release.version << '\n';
    }
    if (failed) PrintModuleFailure("no usable OS release file", release.result);
    status = failed ? kExitFailed : kExitOk;
  });
}

}  // namespace vorctl
