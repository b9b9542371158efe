// check-file PATH... | - and check-pid PID... | -: ask the loaded module, one
// answer per object, in order. With "-" the objects come from stdin and the
// answers stream out as they come (JSON: one object per line). --explain
// adds the module's own trace lines for each decision. Files are answered by
// entry (the session resolves each path as the kernel does), and a line
// names the spelling that decided.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "host_session.h"
#include "output.h"
#include "processes.h"
#include "vor/result.h"

namespace vorctl {
namespace {

struct CheckOptions {
  std::vector<std::string> objects;
  bool explain = false;
  bool exact = false;      // check-file: the module asked each path as given, only
  bool nul = false;        // stdin records end in NUL, not a line end
  std::string only;        // "", "critical" or "not-critical"
};

std::optional<std::uint32_t> ParsePid(std::string_view text) {
  std::uint32_t pid = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), pid);
  if (text.empty() || ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return pid;
}

// Calls each(record, number) with every record of stdin ended by `end` (the
// last one may lack it), numbered from 1, until `each` returns false. Empty
// records (blank lines) are skipped; a record longer than kMaxRecord is
// told, skipped and sets `tooLong`. False when stdin cannot be read (errno
// says why).
constexpr std::size_t kMaxRecord = 1 << 20;

template <class Each>
bool ForEachRecord(char end, bool& tooLong, Each each) {
  std::vector<char> buffer(1 << 16);
  std::size_t have = 0;
  std::size_t number = 0;
  bool skipping = false;  // inside a record over the limit
  const auto deliver = [&](std::string_view record) {
    ++number;
    if (skipping) {
      skipping = false;
      tooLong = true;
      PrintModuleFailure("record " + std::to_string(number) + " of stdin is longer than " +
                             std::to_string(kMaxRecord) + " bytes; skipped",
                         VOR_E_INVALID_SIZE);
      return true;
    }
    return record.empty() || each(record, number);
  };
  for (;;) {
    // The answers so far go out before a read that may wait for more input,
    // so that a slow producer (tail -f, a pipe from a scanner) sees them.
    int ignored;
    FlushOutput(ignored);
    const ssize_t n = ::read(STDIN_FILENO, buffer.data() + have, buffer.size() - have);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) {
      if (have > 0 || skipping) deliver(std::string_view(buffer.data(), have));
      return true;
    }
    have += static_cast<std::size_t>(n);
    std::size_t start = 0;
    for (const char* at; (at = static_cast<const char*>(
                              std::memchr(buffer.data() + start, end, have - start))) != nullptr;) {
      const std::size_t stop = static_cast<std::size_t>(at - buffer.data());
      if (!deliver(std::string_view(buffer.data() + start, stop - start))) return true;
      start = stop + 1;
    }
    have -= start;
    std::memmove(buffer.data(), buffer.data() + start, have);
    if (have < buffer.size()) continue;
    if (buffer.size() < kMaxRecord) {
      buffer.resize(buffer.size() * 2);  // a long record
    } else {
      skipping = true;  // its rest is dropped as it comes
      have = 0;
    }
  }
}

// Asks and prints; keeps the exit status of the answers so far.
class Checker {
 public:
  Checker(const Globals& globals, const CheckOptions& options, vor::host::Session& session,
          bool stream)
      : globals_(globals), options_(options), session_(session), lines_(stream && globals.json) {}

  void File(std::string_view typed) {
    trace_.clear();
    session_.CheckFileEntry(typed, file_, options_.explain ? &trace_ : nullptr);
    const vor::host::Answer answer{file_.result, file_.critical};
    if (!Tally(answer, "check-file " + std::string(typed))) return;
    const std::string_view asked = file_.asked;
    if (globals_.json) {
      Emit({{"path", typed}, {"asked", asked}, {"as", file_.as.empty() ? Json() : Json(file_.as)}},
           answer);
      return;
    }
    Write(Shown{typed});
    if (!asked.empty() && asked != typed) {
      Write(" -> ");
      Write(Shown{asked});
    }
    if (!file_.as.empty()) {
      Write(": critical (as ");
      Write(Shown{file_.as});
      Write(")");
    } else if (zel::Succeeded(answer.result) && !asked.empty() && asked.back() == '/') {
      Words(answer, false);
      Write(" (no file name: the module calls every such path critical)");
    } else {
      Words(answer, true);
      return EndTrace();
    }
    Write("\n");
    EndTrace();
  }

  void Pid(std::string_view typed, std::uint32_t pid) {
    trace_.clear();
    const ProcessAnswer asked = AskAboutProcess(session_, pid, options_.explain ? &trace_ : nullptr);
    const vor::host::Answer& answer = asked.answer;
    // A process that exited, or a kernel thread, has no image to judge: the
    // line says which, with the module's code beside it.
    const char* label = asked.exited ? "exited" : asked.kernelThread ? "kernel thread" : nullptr;
    const std::string object = "check-pid " + std::string(typed);
    if (!Tally(answer, label ? object + ": " + label : object)) return;
    if (globals_.json) {
      Emit({{"pid", pid}, {"exited", asked.exited}, {"kernel_thread", asked.kernelThread}}, answer);
      return;
    }
    Write(Shown{typed});
    if (label != nullptr) {
      Write(std::string(": ") + label + " (" + FormatResult(answer.result) + ")\n");
    } else {
      Words(answer, true);
    }
    EndTrace();
  }

  // Prints the JSON array of the answers when they were not streamed.
  void Finish() {
    if (globals_.json && !lines_) PrintJson(rows_);
  }
  int status() const { return status_; }

 private:
  // Counts the answer, tells a failure on stderr; whether it is printed.
  bool Tally(const vor::host::Answer& answer, const std::string& what) {
    if (zel::Failed(answer.result)) {
      PrintModuleFailure(what, answer.result);
      status_ = kExitFailed;
      return true;  // failures are always told
    }
    if (!answer.critical && status_ == kExitOk) status_ = kExitNegative;
    return options_.only.empty() || (options_.only == "critical") == answer.critical;
  }

  void Emit(Json row, const vor::host::Answer& answer) {
    row["critical"] = zel::Failed(answer.result) ? Json() : Json(answer.critical);
    row["result"] = FormatResult(answer.result);
    row["message"] = ResultMessage(answer.result);
    if (options_.explain) row["trace"] = trace_;
    if (lines_) {
      PrintJson(row);
    } else {
      rows_.push_back(std::move(row));
    }
  }

  // The verdict after the object, in words; `end` ends the line as well
  // (in one write: bulk answers spend their time in such writes).
  void Words(const vor::host::Answer& answer, bool end) {
    if (zel::Failed(answer.result)) {
      Write(": " + ResultMessage(answer.result) + " (" + FormatResult(answer.result) + ")");
      if (end) Write("\n");
      return;
    }
    std::string_view words = answer.critical ? ": critical\n" : ": not critical\n";
    Write(end ? words : words.substr(0, words.size() - 1));
  }

  // The module's trace lines of the decision, after its line.
  void EndTrace() {
    for (const std::string& line : trace_) {
      Write("  ");
      Write(line);
      Write("\n");
    }
  }

  const Globals& globals_;
  const CheckOptions& options_;
  vor::host::Session& session_;
  const bool lines_;  // JSON Lines
  Json rows_ = Json::array();
  std::vector<std::string> trace_;
  vor::host::FileAnswer file_;  // reused: no allocation per path
  int status_ = kExitOk;
};

// Whether the objects come from stdin; nullopt (told) when "-" stands beside others.
std::optional<bool> FromStdin(const CheckOptions& options) {
  const bool dash = std::find(options.objects.begin(), options.objects.end(), "-") !=
                    options.objects.end();
  if (dash && options.objects.size() > 1) {
    PrintError("'-' (read from stdin) must be the only object");
    return std::nullopt;
  }
  return dash;
}

int RunFileChecks(const Globals& globals, const CheckOptions& options) {
  const std::optional<bool> fromStdin = FromStdin(options);
  if (!fromStdin) return kExitUsage;
  const bool stream = *fromStdin;
  const bool confined = !globals.sysroot.empty() && globals.sysroot != "/";
  // Under a sysroot a relative path has no place to be taken from.
  const auto relativeUnderRoot = [&](std::string_view path) {
    if (options.exact || !confined || path.empty() || path.front() == '/') return false;
    PrintError("check-file '" + std::string(path) + "': a relative path under --sysroot " +
               globals.sysroot + " names nothing; give an absolute one");
    return true;
  };
  if (!stream) {
    for (const std::string& path : options.objects) {
      if (relativeUnderRoot(path)) return kExitUsage;
    }
  }
  int status = kExitOk;
  std::unique_ptr<vor::host::Session> session = OpenSession(globals, status, options.exact);
  if (!session) return status;

  Checker checker(globals, options, *session, stream);
  bool usage = false;
  const auto check = [&](std::string_view typed, std::size_t) {
    if (relativeUnderRoot(typed)) return !(usage = true);
    checker.File(typed);
    return true;
  };
  bool tooLong = false;
  if (!stream) {
    for (const std::string& path : options.objects) check(path, 0);
  } else if (!ForEachRecord(options.nul ? '\0' : '\n', tooLong, check)) {
    PrintErrnoFailure("cannot read paths from stdin", errno);
    return kExitFailed;
  }
  if (usage) return kExitUsage;
  checker.Finish();
  return ReportFailedList(*session, globals) || tooLong ? kExitFailed : checker.status();
}

int RunPidChecks(const Globals& globals, const CheckOptions& options) {
  const std::optional<bool> fromStdin = FromStdin(options);
  if (!fromStdin) return kExitUsage;
  const bool stream = *fromStdin;
  int status = kExitOk;
  std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
  if (!session) return status;
  Checker checker(globals, options, *session, stream);
  bool tooLong = false;
  if (!stream) {
    for (const std::string& pid : options.objects) checker.Pid(pid, *ParsePid(pid));
  } else {
    bool usage = false;
    const bool read = ForEachRecord(options.nul ? '\0' : '\n', tooLong, [&](std::string_view text, std::size_t line) {
      const std::optional<std::uint32_t> pid = ParsePid(text);
      if (!pid) {
        PrintError("check-pid: invalid process id '" + std::string(text.substr(0, 64)) +
                   (text.size() > 64 ? "...' on line " : "' on line ") +
                   std::to_string(line) + " of stdin");
        return !(usage = true);
      }
      checker.Pid(text, *pid);
      return true;
    });
    if (!read) {
      PrintErrnoFailure("cannot read pids from stdin", errno);
      return kExitFailed;
    }
    if (usage) return kExitUsage;
  }
  checker.Finish();
  return ReportFailedList(*session, globals) || tooLong ? kExitFailed : checker.status();
}

void AddCommonOptions(CLI::App& command, CheckOptions& options, const char* what) {
  command.add_flag("--explain", options.explain,
                   std::string("show the module's trace lines for each ") + what);
  command.add_flag("-0", options.nul, "with -: stdin holds NUL-separated objects (find -print0)");
  command.add_option("--only", options.only, "print only these answers; failures are always printed")
      ->check([](const std::string& value) {
        return value == "critical" || value == "not-critical"
                   ? std::string()
                   : "it takes critical or not-critical, not '" + value + "'";
      })
      ->type_name("critical|not-critical");
}

}  // namespace

void AddCheckCommands(CLI::App& app, const Globals& globals, int& status) {
  auto files = std::make_shared<CheckOptions>();
  CLI::App* check_file =
      app.add_subcommand("check-file", "Ask whether files are critical to the OS")
          ->footer("Examples: vorctl check-file /usr/bin/ls ../lib/libc.so.6\n"
                   "          find /usr -print0 | vorctl check-file -0 --only critical -\n"
                   "Exit status: 0 all critical, 1 some not critical, 3 a check failed.");
  check_file->add_option("PATH", files->objects,
                         "paths, answered for the file each names (resolved as the kernel "
                         "resolves them, the final name not followed); - reads them from stdin")
      ->required();
  check_file->add_flag("--exact", files->exact,
                       "ask the module about each path exactly as given and nothing else");
  AddCommonOptions(*check_file, *files, "path");
  check_file->callback([&globals, &status, files] { status = RunFileChecks(globals, *files); });

  auto pids = std::make_shared<CheckOptions>();
  CLI::App* check_pid =
      app.add_subcommand("check-pid", "Ask whether running processes are critical to the OS")
          ->footer("Examples: vorctl check-pid 1 $$\n"
                   "          pgrep ssh | vorctl --json check-pid -\n"
                   "Exit status: 0 all critical, 1 some not critical, 3 a check failed\n"
                   "or the process list in force failed.");
  check_pid->add_option("PID", pids->objects, "process ids (decimal); - reads them from stdin")
      ->required()
      ->check([](const std::string& text) {
        return text == "-" || ParsePid(text) ? std::string() : "invalid process id '" + text + "'";
      });
  AddCommonOptions(*check_pid, *pids, "pid");
  check_pid->callback([&globals, &status, pids] { status = RunPidChecks(globals, *pids); });
}

}  // namespace vorctl
