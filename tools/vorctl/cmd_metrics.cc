// metrics [--output FILE]: this machine's survey in the Prometheus text
// exposition format, for node_exporter's textfile collector. With --output
// the file is replaced atomically (a temporary file beside it, renamed), so
// the collector never reads half of it.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

#include "commands.h"
#include "host_session.h"
#include "output.h"
#include "survey.h"

namespace vorctl {
namespace {

// A label value or help text as the exposition format escapes it.
std::string Escaped(std::string_view text, bool quotes) {
  std::string out;
  for (const char c : text) {
    if (c == '\\') {
      out += "\\\\";
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '"' && quotes) {
      out += "\\\"";
    } else {
      out += c;
    }
  }
  return out;
}

class Exposition {
 public:
  // Starts a metric family.
  Exposition& Family(const char* name, const char* help) {
    text_ << "# HELP " << name << ' ' << Escaped(help, false) << "\n# TYPE " << name << " gauge\n";
    name_ = name;
    return *this;
  }
  // One sample of the family; `labels` as pairs of name and value.
  Exposition& Sample(double value, std::initializer_list<std::pair<const char*, std::string_view>> labels = {}) {
    text_ << name_;
    const char* separator = "{";
    for (const auto& [label, text] : labels) {
      text_ << separator << label << "=\"" << Escaped(text, true) << '"';
      separator = ",";
    }
    if (labels.size() != 0) text_ << '}';
    char number[32];
    std::snprintf(number, sizeof number, "%.17g", value);  // result codes need all ten digits
    text_ << ' ' << number << '\n';
    return *this;
  }
  std::string str() const { return text_.str(); }

 private:
  std::ostringstream text_;
  const char* name_ = "";
};

std::string Render(const vor::host::Session& session, const Survey& survey, double seconds) {
  Exposition out;
  out.Family("vor_module_info", "The libvor module loaded, by path and version.")
      .Sample(1, {{"path", session.modulePath()}, {"version", session.moduleVersion()}});
  out.Family("vor_os_release_info",
             "The OS release the module detected; result is its code when it found none.")
      .Sample(1, {{"name", survey.module.releaseName},
                  {"version", survey.module.releaseVersion},
                  {"result", FormatResult(survey.module.release)}});
  out.Family("vor_library_directory_info", "A library directory the module found on this machine.");
  for (const std::string& dir : survey.module.libraryDirectories) out.Sample(1, {{"directory", dir}});
  const double listed = static_cast<double>(survey.files.paths.size());
  const double present = static_cast<double>(survey.present);
  out.Family("vor_critical_files_listed", "Paths in this machine's critical file set.").Sample(listed);
  out.Family("vor_critical_files_present", "Critical paths present on this machine.").Sample(present);
  out.Family("vor_critical_files_missing", "Critical paths absent from this machine.").Sample(listed - present);
  const vor::host::ProcessListState& list = survey.list;
  const bool failed = zel::Failed(list.lastLoad.result);
  out.Family("vor_process_list_state",
             "The process list: 1 for its state (failed: the last load of vor_proc.xms failed).");
  for (const char* state : {"none", "loaded", "failed"}) {
    const bool now = failed ? std::strcmp(state, "failed") == 0
                            : std::strcmp(state, list.inForce == VOR_LIST_LOADED ? "loaded" : "none") == 0;
    out.Sample(now ? 1 : 0, {{"state", state}});
  }
  out.Family("vor_process_list_entries", "Entries of the process list in force.").Sample(list.entries);
  out.Family("vor_process_list_last_load_result",
             "Result code of the last load of the process list (0: taken, or none there).")
      .Sample(list.lastLoad.result);
  out.Family("vor_process_list_matches_every_process",
             "1 when an entry in force holds neither path bit and so makes every process critical.")
      .Sample(survey.matchesEveryProcess ? 1 : 0);
  if (survey.processesListed) {
    out.Family("vor_critical_processes", "Running processes the module reports critical.")
        .Sample(static_cast<double>(survey.critical.size()));
    out.Family("vor_processes_other_mount_namespace",
               "Running processes in another mount namespace than the host's (containers).")
        .Sample(survey.otherMountNamespace);
  }
  out.Family("vor_metrics_run_seconds", "How long gathering these metrics took.").Sample(seconds);
  return out.str();
}

// Writes `text` to `path` through a temporary file beside it and a rename.
bool WriteAtomically(const std::string& path, const std::string& text) {
  const std::string temporary = path + ".tmp." + std::to_string(::getpid());
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) {
    PrintErrnoFailure("cannot write metrics to '" + path + "'", errno);
    return false;
  }
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<std::size_t>(n);
  }
  const int error = done == text.size() ? 0 : errno;
  if (::close(fd) != 0 || error != 0 || ::rename(temporary.c_str(), path.c_str()) != 0) {
    PrintErrnoFailure("cannot write metrics to '" + path + "'", error != 0 ? error : errno);
    ::unlink(temporary.c_str());
    return false;
  }
  return true;
}

int RunMetrics(const Globals& globals, const std::string& output) {
  const auto start = std::chrono::steady_clock::now();
  int status = kExitOk;
  std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
  if (!session) return status;
  const Survey survey = TakeSurvey(*session, globals);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const std::string text = Render(*session, survey, seconds);
  if (output.empty()) {
    Write(text);
  } else if (!WriteAtomically(output, text)) {
    return kExitFailed;
  }
  WarnIfEveryProcess(survey, globals);
  if (ReportFailedList(*session, globals) || !survey.files.ok || !survey.processesListed) return kExitFailed;
  return kExitOk;
}

}  // namespace

void AddMetricsCommand(CLI::App& app, const Globals& globals, int& status) {
  auto output = std::make_shared<std::string>();
  CLI::App* command =
      app.add_subcommand("metrics", "Print this machine's state as Prometheus metrics")
          ->footer("Example, for node_exporter's textfile collector (say, every 5 minutes):\n"
                   "  vorctl --storage /var/opt/storage metrics \\\n"
                   "    --output /var/lib/prometheus/node-exporter/vor.prom\n"
                   "Exit status: 0, or 3 when the last load of the process list failed,\n"
                   "/proc cannot be listed or the file cannot be written; the metrics\n"
                   "are written all the same, but for the last.");
  command->add_option("--output", *output, "write to FILE, replacing it atomically")->type_name("FILE");
  command->callback([&globals, &status, output] { status = RunMetrics(globals, *output); });
}

}  // namespace vorctl
