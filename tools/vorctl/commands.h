// Each command adds its subcommand to the application. A command's callback
// stores its exit status in `status`.
#ifndef VOR_TOOLS_VORCTL_COMMANDS_H_
#define VOR_TOOLS_VORCTL_COMMANDS_H_

#include <CLI/CLI.hpp>

#include "globals.h"

namespace vorctl {

void AddExplainCommand(CLI::App& app, const Globals& globals, int& status);
void AddStatusCommand(CLI::App& app, const Globals& globals, int& status);
int RunStatus(const Globals& globals);
void AddCheckCommands(CLI::App& app, const Globals& globals, int& status);
void AddPsCommand(CLI::App& app, const Globals& globals, int& status);
void AddMakeTestSampleCommand(CLI::App& app, const Globals& globals, int& status);
void AddOsReleaseCommand(CLI::App& app, const Globals& globals, int& status);
void AddListFilesCommand(CLI::App& app, const Globals& globals, int& status);
void AddValidateProcListCommand(CLI::App& app, const Globals& globals, int& status);
void AddMetricsCommand(CLI::App& app, const Globals& globals, int& status);

}  // namespace vorctl

#endif  // VOR_TOOLS_VORCTL_COMMANDS_H_
