// vorctl: administer and try out the libvor module from the command line.
#include <signal.h>

#include <cstring>
#include <iostream>
#include <memory>
#include <new>
#include <string>

#include <CLI/CLI.hpp>

#include "commands.h"
#include "globals.h"
#include "host_session.h"
#include "output.h"

namespace vorctl {
namespace {

// vorctl's version and the loaded module's.
int PrintVersion(const Globals& globals) {
  int status = kExitOk;
  std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
  const std::string module = session ? session->moduleVersion() : std::string();
  if (globals.json) {
    PrintJson({{"vorctl", VORCTL_VERSION}, {"module", session ? Json(module) : Json()}});
  } else {
    Out() << "vorctl " << VORCTL_VERSION << '\n';
    if (session) Out() << "module " << module << " (" << session->modulePath() << ")\n";
  }
  return status;
}

// Output that could not be written is an error; a closed pipe has already
// ended the tool through SIGPIPE, quietly, as other tools end.
int Finish(int status) {
  int error = 0;
  if (FlushOutput(error)) return status;
  PrintError(std::string("cannot write output: ") + std::strerror(error));
  return kExitFailed;
}

int Run(int argc, char** argv) {
  Globals globals;
  int status = kExitOk;

  CLI::App app("vorctl: ask the libvor module which files and processes are critical to the OS",
               "vorctl");
  // A parent that ignores SIGPIPE must not turn "vorctl ps | head" into an error.
  ::signal(SIGPIPE, SIG_DFL);
  app.add_flag("--version", globals.version, "print vorctl's and the loaded module's versions");
  app.require_subcommand(0, 1);
  // Global options may stand before or after the command.
  app.fallthrough();
  app.footer(
      "Examples:\n"
      "  vorctl                                    status of this machine\n"
      "  vorctl check-file /usr/bin/ls             is this file critical?\n"
      "  vorctl --json check-pid 1234              is this process critical? (JSON)\n"
      "  vorctl --storage /srv/st --trace info ps  every process, with a process list in force\n"
      "Exit status: 3 a question failed (check-file, check-pid, os-release, explain), the\n"
      "process list in force failed, or output could not be written; otherwise 1 when\n"
      "check-file/check-pid found something not critical or validate-proc-list an invalid\n"
      "document; otherwise 0. 2 for usage errors.");
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
  } catch (const CLI::ParseError& e) {
    PrintError(e.what());
    std::cerr << "Run 'vorctl --help' for usage.\n";
    return kExitUsage;
  }
  if (globals.version) return Finish(PrintVersion(globals));
  if (app.get_subcommands().empty()) status = RunStatus(globals);  // the default command
  return Finish(status);
}

}  // namespace
}  // namespace vorctl

int main(int argc, char** argv) {
  // Whatever stops vorctl midway — memory, above all — ends it with one
  // message and exit status 3, never an abort.
  try {
    return vorctl::Run(argc, argv);
  } catch (const std::bad_alloc&) {
    vorctl::PrintModuleFailure("stopped", VOR_E_OUT_OF_MEMORY);
  } catch (const std::exception& e) {
    vorctl::PrintModuleFailure(std::string("stopped: ") + e.what(), VOR_E_UNKNOWN_EXCEPTION);
  } catch (...) {
    vorctl::PrintModuleFailure("stopped", VOR_E_UNKNOWN_EXCEPTION);
  }
  return vorctl::kExitFailed;
}
