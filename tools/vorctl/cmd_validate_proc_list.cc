// validate-proc-list FILE: judges a vor_proc.xms document as the module
// would on an update, and prints its verdict, the entries it would use, and
// each entry it refuses or skips with the line it stands on and the module's
// reason; for malformed XML, where and why the parser stopped.
#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "commands.h"
#include "host_session.h"
#include "list_report.h"
#include "module/tool_facts.h"
#include "output.h"

namespace vorctl {
namespace {

// Keeps the module's lines of reading the document, and hands them on to
// the session's tracer too (for --trace). Lives on the stack, uncounted.
class LineCatcher final : public zel::ITracer, private zel::ITraceSink {
 public:
  explicit LineCatcher(zel::ITracer* next) : next_(next) {}
  std::uint32_t AddRef() override { return 1; }
  std::uint32_t Release() override { return 1; }
  zel::result_t QueryInterface(std::uint32_t, void** out) override {
    if (out != nullptr) *out = nullptr;
    return VOR_E_NO_INTERFACE;
  }
  zel::result_t BeginRecord(std::uint32_t level, zel::TraceRecord* record, std::uint32_t capacity) override {
    if (record == nullptr || capacity == 0 || level > VOR_TRACE_INFO) return VOR_E_TRACE_LEVEL_PROHIBITED;
    *record = {this, buffer_, std::min<std::uint32_t>(capacity, sizeof buffer_), 0, level, 0, nullptr};
    return VOR_OK;
  }
  std::vector<std::string> lines;

 private:
  void Commit(zel::TraceRecord* record) override {
    const std::string_view text(record->text, record->length < record->capacity ? record->length : 0);
    lines.emplace_back(text);
    if (next_ == nullptr) return;
    zel::TraceRecord forward{};
    if (next_->BeginRecord(record->level, &forward, record->capacity) != VOR_OK) return;
    const std::size_t n = std::min<std::size_t>(text.size(), forward.capacity - 1);
    text.copy(forward.text, n);
    forward.text[n] = '\0';
    forward.length = static_cast<std::uint32_t>(n);
    forward.sink->Commit(&forward);
  }
  zel::ITracer* next_;
  char buffer_[512];
};

const char* KindName(ReportRow::Kind kind) {
  switch (kind) {
    case ReportRow::kTaken: return "entry";
    case ReportRow::kSkipped: return "skipped";
    default: return "warning";
  }
}

int Validate(const Globals& globals, const std::string& path) {
  int status = kExitOk;
  std::unique_ptr<vor::host::Session> session = OpenSession(globals, status);
  if (!session) return status;
  std::string error;
  vor::Ref<zel::IIo> file;
  if (const zel::result_t opened = vor::host::OpenLocalFile(path, file, error); zel::Failed(opened)) {
    PrintModuleFailure("cannot read '" + path + "' (" + error + ")", opened);
    return kExitFailed;
  }
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();  // for the lines of its elements

  vor::Ref<zel::ITracer> tracer;
  session->locator()->GetInterface(zel::ITracer::kIid, 0, tracer.put_void());
  LineCatcher catcher(tracer.get());
  std::vector<vor::facts::ProcessListEntry> entries;
  const zel::result_t code =
      vor::facts::ReadProcessListDocument(&catcher, session->locator(), file.get(), entries);
  const bool valid = zel::Succeeded(code);
  vor::host::XmlSyntaxError syntax;
  if (code == VOR_E_INVALID_SIGNATURE) syntax = session->lastXmlSyntaxError();
  const bool located = syntax.line != 0;
  std::vector<std::string> taken;
  for (const vor::facts::ProcessListEntry& entry : entries) {
    std::ostringstream line;
    line << "flags 0x" << std::hex << entry.flags;
    if (!entry.path.empty()) line << "  path " << entry.path;
    if (!entry.parentPath.empty()) line << "  parent_path " << entry.parentPath;
    taken.push_back(line.str());
  }
  const ListReport report = ReportOnList(text.str(), catcher.lines, taken, valid ? 0 : code);

  if (globals.json) {
    Json list = Json::array();
    for (const vor::facts::ProcessListEntry& entry : entries) {
      list.push_back(
          {{"flags", entry.flags}, {"path", entry.path}, {"parent_path", entry.parentPath}});
    }
    Json notes = Json::array();
    for (const ReportRow& row : report.rows) {
      if (row.kind == ReportRow::kTaken) continue;
      notes.push_back({{"line", row.line == 0 ? Json() : Json(row.line)},
                       {"kind", KindName(row.kind)},
                       {"text", row.text}});
    }
    PrintJson({{"valid", valid},
               {"result", FormatResult(code)},
               {"message", ResultMessage(code)},
               {"reason", report.reason.empty() ? Json() : Json(report.reason)},
               {"line", located ? Json(syntax.line) : Json()},
               {"column", located ? Json(syntax.column) : Json()},
               {"description", located ? Json(syntax.description) : Json()},
               {"entries", list},
               {"notes", notes}});
  } else {
    Out() << (valid ? "valid" : "invalid") << " (" << FormatResult(code) << " " << ResultMessage(code) << ")";
    if (!report.reason.empty()) Out() << ": " << Shown{report.reason};
    if (located) {
      Out() << ", line " << syntax.line << ", column " << syntax.column << ": " << Shown{syntax.description};
    }
    Out() << ", " << entries.size() << " entries\n";
    for (const ReportRow& row : report.rows) {
      Out() << "  line " << row.line << ": " << (row.kind == ReportRow::kTaken ? "" : KindName(row.kind))
            << (row.kind == ReportRow::kTaken ? "" : ": ") << Shown{row.text} << '\n';
    }
  }
  for (const ReportRow& row : report.rows) {
    if (row.kind == ReportRow::kWarning && row.text.find("every process") != std::string::npos) {
      PrintWarning(path + ", line " + std::to_string(row.line) + ": " + row.text);
    }
  }
  if (ReportFailedList(*session, globals)) return kExitFailed;  // the list of --storage, not FILE
  return valid ? kExitOk : kExitNegative;
}

}  // namespace

void AddValidateProcListCommand(CLI::App& app, const Globals& globals, int& status) {
  auto path = std::make_shared<std::string>();
  CLI::App* command =
      app.add_subcommand("validate-proc-list",
                         "Judge a vor_proc.xms document: verdict, the entries it yields, and why each other is not used")
          ->footer("Example: vorctl --json validate-proc-list /var/opt/storage/vor_proc.xms\n"
                   "Exit status: 0 valid, 1 invalid, 3 the file cannot be read.");
  command->add_option("FILE", *path, "the XML critical process list")->required();
  command->callback([&globals, &status, path] { status = Validate(globals, *path); });
}

}  // namespace vorctl
