// validate-proc-list FILE: judges a vor_proc.xms document as the module
// would on an update, and prints its verdict and the entries it would use.
#include <iostream>
#include <memory>
#include <string>

#include "commands.h"
#include "host_session.h"
#include "module/tool_facts.h"
#include "output.h"
#include "vor/result.h"
#include "vor/session.h"

namespace vorctl {
namespace {

int Validate(const Globals& globals, const std::string& path) {
  int status = kExitOk;
  std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
  if (!session) return status;
  std::string error;
  vor::Ref<zel::IIo> file;
  if (zel::Failed(vor::host::OpenLocalFile(path, file, error))) {
    PrintError("cannot read '" + path + "': " + error);
    return kExitModuleFailed;
  }

  vor::Ref<zel::ITracer> tracer;
  session->locator()->GetInterface(zel::ITracer::kIid, 0, tracer.put_void());
  std::vector<vor::facts::ProcessListEntry> entries;
  const zel::result_t code =
      vor::facts::ReadProcessListDocument(tracer.get(), session->locator(), file.get(), entries);
  const bool valid = zel::Succeeded(code);

  if (globals.json) {
    Json list = Json::array();
    for (const vor::facts::ProcessListEntry& entry : entries) {
      list.push_back(
          {{"flags", entry.flags}, {"path", entry.path}, {"parent_path", entry.parentPath}});
    }
    PrintJson({{"valid", valid}, {"result", FormatResult(code)}, {"entries", list}});
  } else {
    std::cout << (valid ? "valid" : "invalid") << " (" << FormatResult(code) << " "
              << vor_result_message(code) << "), " << entries.size() << " entries\n";
    for (const vor::facts::ProcessListEntry& entry : entries) {
      std::cout << "  flags 0x" << std::hex << entry.flags << std::dec;
      if (!entry.path.empty()) std::cout << "  path " << entry.path;
      if (!entry.parentPath.empty()) std::cout << "  parent_path " << entry.parentPath;
      std::cout << '\n';
    }
  }
  return valid ? kExitOk : kExitNegative;
}

}  // namespace

void AddValidateProcListCommand(CLI::App& app, const Globals& globals, int& status) {
  auto path = std::make_shared<std::string>();
  CLI::App* command =
      app.add_subcommand("validate-proc-list",
                         "Judge a vor_proc.xms document: verdict and the entries it yields")
          ->footer("Example: vorctl --json validate-proc-list /var/opt/storage/vor_proc.xms\n"
                   "Exit status: 0 valid, 1 invalid, 3 the file cannot be read.");
  command->add_option("FILE", *path, "the XML critical process list")->required();
  command->callback([&globals, &status, path] { status = Validate(globals, *path); });
}

}  // namespace vorctl
