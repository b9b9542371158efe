// os-release: the OS name and version that the loaded module found in the
// release files (below --sysroot), as it told them when it started.
#include <memory>
#include <string>

#include "commands.h"
#include "host_session.h"
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
    const vor::host::ModuleFacts facts = session->moduleFacts();
    const bool failed = zel::Failed(facts.release);
    if (globals.json) {
      PrintJson({{"name", facts.releaseName},
                 {"version", facts.releaseVersion},
                 {"result", FormatResult(facts.release)},
                 {"message", ResultMessage(facts.release)}});
    } else if (!failed) {
      Out() << "name:    " << Shown{facts.releaseName} << '\n'
            << "version: " << Shown{facts.releaseVersion} << '\n';
    }
    if (failed) PrintModuleFailure("no usable OS release file", facts.release);
    status = ReportFailedList(*session, globals) || failed ? kExitFailed : kExitOk;
  });
}

}  // namespace vorctl
