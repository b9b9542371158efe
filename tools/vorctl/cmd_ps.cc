// ps: every running process with its parent, image and the module's verdict
// in words. Kernel threads and processes in another mount namespace than
// vorctl's own are marked (vorctl's own reading of /proc). Processes come and
// go during the walk: one that vanished before it was asked about is left
// out, one that exited while it was asked about reads "exited".
#include <unistd.h>

#include <cerrno>
#include <iomanip>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "host_session.h"
#include "module/tool_facts.h"
#include "output.h"
#include "processes.h"

namespace vorctl {
namespace {

struct Row {
  std::uint32_t pid = 0;
  std::uint32_t ppid = 0;
  std::string image;  // empty when unreadable (kernel threads, other users' processes)
  bool kernelThread = false;
  std::optional<bool> otherMntNs;  // nullopt: unreadable
  ProcessAnswer asked;
  std::vector<std::string> trace;
};

std::string Verdict(const ProcessAnswer& asked) {
  const vor::host::Answer& answer = asked.answer;
  if (zel::Succeeded(answer.result)) return answer.critical ? "critical" : "not critical";
  if (asked.kernelThread) return "kernel thread";
  if (asked.exited) return "exited";
  return ResultMessage(answer.result) + " (" + FormatResult(answer.result) + ")";
}

}  // namespace

void AddPsCommand(CLI::App& app, const Globals& globals, int& status) {
  auto explain = std::make_shared<bool>(false);
  auto criticalOnly = std::make_shared<bool>(false);
  CLI::App* command =
      app.add_subcommand("ps", "List running processes with the module's verdict")
          ->footer("Examples: vorctl ps --critical\n"
                   "          vorctl --json ps\n"
                   "Exit status: 0, or 3 when the process list in force failed.");
  command->add_flag("--explain", *explain, "show the module's trace lines for each process");
  command->add_flag("--critical", *criticalOnly, "only the critical processes");
  command->callback([&globals, &status, explain, criticalOnly] {
    std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
    if (!session) return;
    bool denied = false;
    const std::string ownNs = MountNamespace("self", denied);
    std::vector<Row> rows;
    std::vector<std::uint32_t> pids;
    if (!ListProcessIds(pids)) {
      status = kExitFailed;
      return;
    }
    for (std::uint32_t pid : pids) {
      Row row;
      row.pid = pid;
      if (zel::Failed(vor::facts::ReadParentPid(pid, row.ppid))) continue;  // gone
      row.asked = AskAboutProcess(*session, pid, *explain ? &row.trace : nullptr);
      // Without root a critical process of another user may fail its check:
      // --critical would leave it out unsaid.
      if (row.asked.answer.result == VOR_E_ACCESS_DENIED) denied = true;
      if (*criticalOnly && !row.asked.answer.critical) continue;
      if (vor::facts::ReadImagePath(pid, row.image) == VOR_E_ACCESS_DENIED) denied = true;
      row.kernelThread = row.asked.kernelThread || IsKernelThread(pid);
      const std::string ns = MountNamespace(std::to_string(pid), denied);
      if (!ns.empty() && !ownNs.empty()) row.otherMntNs = ns != ownNs;
      rows.push_back(std::move(row));
    }

    if (globals.json) {
      Json out = Json::array();
      for (const Row& row : rows) {
        const vor::host::Answer& answer = row.asked.answer;
        const bool failed = zel::Failed(answer.result);
        Json item = {{"pid", row.pid},
                     {"ppid", row.ppid},
                     {"image", row.image},
                     {"kernel_thread", row.kernelThread},
                     {"exited", row.asked.exited},
                     {"other_mnt_ns", row.otherMntNs ? Json(*row.otherMntNs) : Json()},
                     {"critical", failed ? Json() : Json(answer.critical)},
                     {"result", FormatResult(answer.result)},
                     {"message", ResultMessage(answer.result)}};
        if (*explain) item["trace"] = row.trace;
        out.push_back(std::move(item));
      }
      PrintJson(out);
    } else {
      Out() << std::setw(7) << "PID" << ' ' << std::setw(7) << "PPID" << "  " << std::left
            << std::setw(14) << "VERDICT" << std::right << " IMAGE\n";
      for (const Row& row : rows) {
        Out() << std::setw(7) << row.pid << ' ' << std::setw(7) << row.ppid << "  " << std::left
              << std::setw(14) << Verdict(row.asked) << std::right << ' '
              << Shown{row.image.empty() ? "-" : row.image}
              << (row.otherMntNs.value_or(false) ? "  (other mount namespace)" : "") << '\n';
        for (const std::string& line : row.trace) Out() << "    " << line << '\n';
      }
    }
    if (denied && geteuid() != 0) {
      PrintError("reading other users' processes needs root: some images ('-'), mount "
                 "namespaces or verdicts could not be read");
    }
    status = ReportFailedList(*session, globals) ? kExitFailed : kExitOk;
  });
}

}  // namespace vorctl
