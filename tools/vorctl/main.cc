// vorctl: administer and try out the libvor module from the command line.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "commands.h"
#include "globals.h"
#include "help.h"
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
    if (session) Out() << "module " << Shown{module} << " (" << Shown{session->modulePath()} << ")\n";
  }
  if (session && ReportFailedList(*session, globals)) status = kExitFailed;
  return status;
}

// Output that could not be written is an error; a closed pipe has already
// ended the tool through SIGPIPE, quietly, as other tools end.
int Finish(int status) {
  int error = 0;
  if (!FlushOutput(error)) {
    PrintErrnoFailure("cannot write output", error);
    status = kExitFailed;
  }
  if (const int trace = TraceWriteError(); trace != 0) {
    PrintErrnoFailure("cannot write the trace lines", trace);
    status = kExitFailed;
  }
  return status;
}

int Run(int argc, char** argv) {
  Globals globals;
  int status = kExitOk;

  CLI::App app("vorctl: ask the libvor module which files and processes are critical to the OS",
               "vorctl");
  SetUpHelp(app);
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
      "  vorctl COMMAND --help                     what a command does, with examples\n"
      "\n"
      "Exit status: 3 when a question failed (a process that exited while asked and a\n"
      "kernel thread included), the last load of the process list failed, vorctl could\n"
      "not do its job or could not write its output; otherwise 1 when check-file or\n"
      "check-pid found something not critical or validate-proc-list an invalid\n"
      "document; otherwise 0. 2 for usage errors. See vorctl(1).");
  app.add_option("--module", globals.modulePath,
                 "the libvor.so to load (default: the one installed or built beside vorctl)")
      ->type_name("PATH");
  app.add_option("--storage", globals.storageDir,
                 "the storage folder whose vor_proc.xms is read (default: an empty storage)")
      ->type_name("DIR");
  app.add_option("--sysroot", globals.sysroot,
                 "read release files and test samples below DIR, as under a chroot (default: /)")
      ->type_name("DIR");
  app.add_option("--flag", globals.flags, "set a host feature flag; repeat for more")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
  app.add_option("--env", globals.env, "set a host environment value for %NAME%; repeat for more")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
  CLI::Option* trace = app.add_option("--trace", globals.traceLevel,
                 "write the module's trace lines up to LEVEL (error, warning, info, debug or a "
                 "number) to stderr")
      ->type_name("LEVEL")
      ->check([](const std::string& text) {
        return ParseTraceLevel(text) ? std::string() : "invalid trace level '" + text + "'";
      });
  // Without --trace there are no lines to write: a usage error, not a silent nothing.
  app.add_option("--trace-file", globals.traceFile, "write the --trace lines to FILE instead")
      ->type_name("FILE")
      ->needs(trace);
  app.add_flag("--json", globals.json, "machine-readable output on stdout");

  AddStatusCommand(app, globals, status);
  AddCheckCommands(app, globals, status);
  AddPsCommand(app, globals, status);
  AddMakeTestSampleCommand(app, globals, status);
  AddExplainCommand(app, globals, status);
  AddOsReleaseCommand(app, globals, status);
  AddListFilesCommand(app, globals, status);
  AddValidateProcListCommand(app, globals, status);
  AddMetricsCommand(app, globals, status);

  // "vorctl help [COMMAND]" and "vorctl version", as people type them.
  std::vector<std::string> args(argv + 1, argv + argc);
  if (!args.empty() && args[0] == "help") {
    args[0] = "--help";
    if (args.size() > 1) std::swap(args[0], args[1]);
  } else if (!args.empty() && args[0] == "version") {
    args[0] = "--version";
  }
  std::reverse(args.begin(), args.end());  // CLI11 takes them last first
  try {
    app.parse(args);
  } catch (const CLI::CallForHelp&) {
    Out() << app.help();  // the command's help when a command was named
    return Finish(kExitOk);
  } catch (const CLI::CallForAllHelp&) {
    Out() << app.help("", CLI::AppFormatMode::All);
    return Finish(kExitOk);
  } catch (const CLI::ParseError& e) {
    PrintError(UsageErrorText(app, e));
    std::cerr << "Run 'vorctl --help' for usage.\n";
    return kExitUsage;
  }
  if (globals.version) return Finish(PrintVersion(globals));
  if (app.get_subcommands().empty()) status = RunStatus(globals);  // the default command
  return Finish(status);
}

}  // namespace
}  // namespace vorctl

namespace {

// Where no handler can catch it — an allocation failing before main, as the
// parser builds its static tables, or inside a destructor — vorctl still ends
// with one message and exit status 3, never an abort. No allocation here.
[[noreturn]] void Stopped() noexcept {
  const char* text = "vorctl: stopped: Unknown exception (0x80000072)\n";
  try {
    if (const std::exception_ptr current = std::current_exception()) std::rethrow_exception(current);
  } catch (const std::bad_alloc&) {
    text = "vorctl: stopped: Out of memory (0x80000041)\n";
  } catch (...) {
  }
  if (::write(STDERR_FILENO, text, std::strlen(text)) < 0) {
  }
  ::_exit(vorctl::kExitFailed);
}

// Before any static object of the program is made.
__attribute__((constructor(101))) void HandleTerminate() { std::set_terminate(Stopped); }

}  // namespace

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
