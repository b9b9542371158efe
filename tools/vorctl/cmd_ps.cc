// ps: every running process with its parent, image and the module's verdict.
// Processes come and go during the walk; one that vanished is left out.
#include <dirent.h>

#include <charconv>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "host_session.h"
#include "module/tool_facts.h"
#include "output.h"
#include "vor/result.h"

namespace vorctl {
namespace {

struct Row {
  std::uint32_t pid;
  std::uint32_t ppid;
  std::string image;  // empty when unreadable (kernel threads, other namespaces)
  vor::host::Answer answer;
  std::vector<std::string> trace;
};

}  // namespace

std::vector<std::uint32_t> ListProcessIds() {
  std::vector<std::uint32_t> pids;
  DIR* proc = opendir("/proc");
  if (proc == nullptr) return pids;
  while (const dirent* entry = readdir(proc)) {
    const std::string_view name = entry->d_name;
    std::uint32_t pid = 0;
    const auto [end, ec] = std::from_chars(name.data(), name.data() + name.size(), pid);
    if (ec == std::errc() && end == name.data() + name.size() && pid != 0) pids.push_back(pid);
  }
  closedir(proc);
  return pids;
}

void AddPsCommand(CLI::App& app, const Globals& globals, int& status) {
  auto explain = std::make_shared<bool>(false);
  CLI::App* command =
      app.add_subcommand("ps", "List running processes with the module's verdict")
          ->footer("Example: vorctl --json ps");
  command->add_flag("--explain", *explain, "show the module's trace lines for each process");
  command->callback([&globals, &status, explain] {
    std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
    if (!session) return;
    std::vector<Row> rows;
    for (std::uint32_t pid : ListProcessIds()) {
      Row row{pid, 0, {}, {}, {}};
      if (zel::Failed(vor::facts::ReadParentPid(pid, row.ppid))) continue;  // gone
      vor::facts::ReadImagePath(pid, row.image);  // unreadable: shown as "-"
      row.answer = session->CheckPid(pid, *explain ? &row.trace : nullptr);
      rows.push_back(std::move(row));
    }

    if (globals.json) {
      Json out = Json::array();
      for (const Row& row : rows) {
        Json item = {{"pid", row.pid},
                               {"ppid", row.ppid},
                               {"image", row.image},
                               {"critical", row.answer.critical},
                               {"result", FormatResult(row.answer.result)}};
        if (*explain) item["trace"] = row.trace;
        out.push_back(std::move(item));
      }
      PrintJson(out);
    } else {
      std::cout << std::setw(7) << "PID" << ' ' << std::setw(7) << "PPID" << "  "
                << std::left << std::setw(14) << "VERDICT" << std::right << "IMAGE\n";
      for (const Row& row : rows) {
        const std::string verdict = zel::Failed(row.answer.result)
                                        ? FormatResult(row.answer.result)
                                        : (row.answer.critical ? "critical" : "-");
        std::cout << std::setw(7) << row.pid << ' ' << std::setw(7) << row.ppid << "  "
                  << std::left << std::setw(14) << verdict << std::right
                  << (row.image.empty() ? "-" : row.image) << '\n';
        for (const std::string& line : row.trace) std::cout << "    " << line << '\n';
      }
    }
    status = kExitOk;
  });
}

}  // namespace vorctl
