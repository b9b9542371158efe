// validate-proc-list FILE: judges a vor_proc.xms document as the module
// would on an update, and prints its verdict, the entries it would use and,
// for malformed XML, where and why the parser stopped.
#include <memory>
#include <string>

#include "commands.h"
#include "host_session.h"
#include "module/tool_facts.h"
#include "output.h"

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
    return kExitFailed;
  }

  vor::Ref<zel::ITracer> tracer;
  session->locator()->GetInterface(zel::ITracer::kIid, 0, tracer.put_void());
  std::vector<vor::facts::ProcessListEntry> entries;
  const zel::result_t code =
      vor::facts::ReadProcessListDocument(tracer.get(), session->locator(), file.get(), entries);
  const bool valid = zel::Succeeded(code);
  vor::host::XmlSyntaxError syntax;
  if (code == VOR_E_INVALID_SIGNATURE) syntax = session->lastXmlSyntaxError();
  const bool located = syntax.line != 0;

  if (globals.json) {
    Json list = Json::array();
    for (const vor::facts::ProcessListEntry& entry : entries) {
      list.push_back(
          {{"flags", entry.flags}, {"path", entry.path}, {"parent_path", entry.parentPath}});
    }
    PrintJson({{"valid", valid},
               {"result", FormatResult(code)},
               {"message", ResultMessage(code)},
               {"line", located ? Json(syntax.line) : Json()},
               {"column", located ? Json(syntax.column) : Json()},
               {"description", located ? Json(syntax.description) : Json()},
               {"entries", list}});
  } else {
    Out() << (valid ? "valid" : "invalid") << " (" << FormatResult(code) << " "
          << ResultMessage(code) << ")";
    if (located) {
      Out() << ", line " << syntax.line << ", column " << syntax.column << ": "
            << syntax.description;
    }
    Out() << ", " << entries.size() << " entries\n";
    for (const vor::facts::ProcessListEntry& entry : entries) {
      Out() << "  flags 0x" << std::hex << entry.flags << std::dec;
      if (!entry.path.empty()) Out() << "  path " << entry.path;
      if (!entry.parentPath.empty()) Out() << "  parent_path " << entry.parentPath;
      Out() << '\n';
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
