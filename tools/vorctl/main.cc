// vorctl: administer and try out the libvor module from the command line.
#include <iostream>

#include <CLI/CLI.hpp>

#include "commands.h"
#include "globals.h"
#include "output.h"

int main(int argc, char** argv) {
  using namespace vorctl;
  Globals globals;
  int status = kExitOk;

  CLI::App app("vorctl: ask the libvor module which files and processes are critical to the OS",
               "vorctl");
  app.set_version_flag("--version", std::string("vorctl ") + VORCTL_VERSION);
  app.require_subcommand(0, 1);
  app.footer(
      "Examples:\n"
      "  vorctl                                    status of this machine\n"
      "  vorctl check-file /usr/bin/ls             is this file critical?\n"
      "  vorctl --json check-pid 1234              is this process critical? (JSON)\n"
      "  vorctl --storage /srv/st --trace info ps  every process, with a process list in force\n"
      "Exit status: 0 success (checks: all critical), 1 some not critical or an invalid\n"
      "document, 2 usage error, 3 a module operation failed.");
  app.add_option("--module", globals.modulePath,
                 "the libvor.so to load (default: the one built or installed beside vorctl)")
      ->type_name("PATH");
  app.add_option("--storage", globals.storageDir,
                 "storage directory holding vor_proc.xms (default: an empty storage)")
      ->type_name("DIR");
  app.add_option("--sysroot", globals.sysroot,
                 "read release files and test samples below DIR, as under a chroot")
      ->type_name("DIR")
      ->default_val("/");
  app.add_option("--flag", globals.flags, "a host feature flag NAME=VALUE (repeatable)")
      ->type_name("NAME=VALUE");
  app.add_option("--env", globals.env, "a host environment value NAME=VALUE (repeatable)")
      ->type_name("NAME=VALUE");
  app.add_option("--trace", globals.traceLevel,
                 "write module trace lines up to LEVEL: error, warning, info, debug or a number")
      ->type_name("LEVEL")
      ->check([](const std::string& text) {
        return ParseTraceLevel(text) ? std::string() : "invalid trace level '" + text + "'";
      });
  app.add_option("--trace-file", globals.traceFile, "write trace lines to FILE instead of stderr")
      ->type_name("FILE");
  app.add_flag("--json", globals.json, "machine-readable output on stdout");

  AddStatusCommand(app, globals, status);
  AddCheckCommands(app, globals, status);
  AddPsCommand(app, globals, status);
  AddMakeTestSampleCommand(app, globals, status);
  AddExplainCommand(app, globals, status);
  AddOsReleaseCommand(app, globals, status);
  AddListFilesCommand(app, globals, status);
  AddValidateProcListCommand(app, globals, status);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    PrintError(e.what());
    std::cerr << "Run 'vorctl --help' for usage.\n";
    return kExitUsage;
  } catch (const std::exception& e) {
    PrintError(e.what());
    return kExitModuleFailed;
  }
  if (app.get_subcommands().empty()) return RunStatus(globals);  // the default command
  return status;
}
