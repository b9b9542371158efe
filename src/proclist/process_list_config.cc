#include "proclist/process_list_config.h"

#include <charconv>

#include "runtime/host_access.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"
#include "runtime/xml_list_walker.h"
#include "runtime/xml_node.h"

namespace vor {
namespace {


using xml::ListFault;

constexpr xml::ListShape kValidated{"vor_process_list", true};
// Names were checked by validation: every top-level node counts as a list and
// every child of it as an entry, and a list may end up empty.
constexpr xml::ListShape kExtracted{"", false};
constexpr std::string_view kEntryName = "vor_process_entry";

// Reads "flags" of an entry node as a number.
zel::result_t ReadFlags(zel::IXmlNode* entry, std::uint64_t& flags) {
  flags = 0;
  zel::string text;
  const zel::result_t code = xml::GetValue(entry, "flags", text);
  if (zel::Failed(code)) return code;
  return ParseEntryFlags(text.view(), flags);
}

// A path an entry's flags call for: its value name, and its name in the lines.
struct PathValue {
  const char* name;
  std::string_view words;
};
constexpr PathValue kProcessPath{"path", "path"};
constexpr PathValue kParentPath{"parent_path", "parent path"};

// Validation: a called-for path must be there and must not be empty.
zel::result_t ValidatePath(const zel::Tracer& trace, zel::IXmlNode* entry, const PathValue& value) {
  zel::string path;
  const zel::result_t code = xml::GetValue(entry, value.name, path);
  if (zel::Failed(code)) {
    ZEL_TRACE(trace, zel::kTraceError)
        << "Can't get " << value.words << " with error 0x" << zel::Hex{code};
    return code;
  }
  if (path.empty()) {
    ZEL_TRACE(trace, zel::kTraceError) << "Empty " << value.words << "!";
    return zel::kErrInvalidPathName;
  }
  return zel::kOk;
}

// Extraction: the same test, traced with the list and entry numbers; false
// leaves the entry out.
bool ExtractPath(const zel::Tracer& trace, zel::IXmlNode* entry, const PathValue& value,
                 std::uint32_t list, std::uint32_t index, zel::string& path) {
  const zel::result_t code = xml::GetValue(entry, value.name, path);
  if (zel::Failed(code)) {
    ZEL_TRACE(trace, zel::kTraceError) << "Can't get " << value.words << " vor process list "
                                       << list << " entry " << index << " with error 0x"
                                       << zel::Hex{code};
    return false;
  }
  if (path.empty()) {
    ZEL_TRACE(trace, zel::kTraceError)
        << "Empty " << value.words << " for vor process list " << list << " entry " << index;
    return false;
  }
  return true;
}


// The process list's words for the walk's faults; extraction words a few of
// them differently.
class ProcessListReporter final : public xml::ListReporter {
 public:
  using ListReporter::ListReporter;

 protected:
  void Describe(ListFault fault, std::uint32_t i, std::uint32_t j, zel::TraceLine& line) override {
    switch (fault) {
      case ListFault::kListCount:
        line << (extracting() ? "Can't get vor list count" : "Can't get vor process list count");
        break;
      case ListFault::kNoLists: line << "No vor process list in config!"; break;
      case ListFault::kGetList: line << "Can't get vor process list " << i; break;
      case ListFault::kListName: line << "Can't get vor process list node name " << i; break;
      case ListFault::kWrongListName: line << "Invalid vor process list node name!"; break;
      case ListFault::kEntryCount:
        line << "Can't get vor process list ";
        if (extracting()) {
          line << "0x" << zel::Hex{i};
        } else {
          line << i;
        }
        line << " entry count";
        break;
      case ListFault::kGetEntry: line << "Can't get vor process list " << i << " entry " << j; break;
      case ListFault::kBadEntry:
        line << "Can't validate vor process list " << i << " entry " << j;
        break;
      case ListFault::kNoEntries: line << "No vor process list items in config!"; break;
    }
  }
};

class EntryValidator final : public xml::ListVisitor {
 public:
  explicit EntryValidator(const zel::Tracer& trace) : trace_(trace) {}
  zel::result_t Entry(std::uint32_t, std::uint32_t, zel::IXmlNode* node) override {
    return ValidateProcessEntry(trace_, node);
  }

 private:
  const zel::Tracer& trace_;
};

// Builds the entries; an entry without usable flags or paths is traced and
// left out.
class EntryGatherer final : public xml::ListVisitor {
 public:
  EntryGatherer(const zel::Tracer& trace, CriticalProcessEntries& entries)
      : trace_(trace), entries_(entries) {}

  void BeginList(std::uint32_t i) override {
    ZEL_TRACE(trace_, zel::kTraceInfo) << "Parsing vor process list " << i << "...";
  }
  void EndList(std::uint32_t) override { ZEL_TRACE(trace_, zel::kTraceInfo) << "Done"; }

  zel::result_t Entry(std::uint32_t i, std::uint32_t j, zel::IXmlNode* node) override {
    CriticalProcessEntry entry;
    const zel::result_t code = ReadFlags(node, entry.flags);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace_, zel::kTraceError) << "Can't get flags from process list " << i
                                          << " entry " << j << " with error 0x" << zel::Hex{code};
      return code;
    }
    if (entry.flags == 0) {
      ZEL_TRACE(trace_, zel::kTraceError) << "Invalid flags for process list " << i << " entry " << j;
      return zel::kErrInvalidArgument;
    }
    if (((entry.flags & kMatchProcessPath) &&
         !ExtractPath(trace_, node, kProcessPath, i, j, entry.path)) ||
        ((entry.flags & kMatchParentPath) &&
         !ExtractPath(trace_, node, kParentPath, i, j, entry.parentPath))) {
      return zel::kErrInvalidPathName;
    }
    ZEL_TRACE(trace_, zel::kTraceInfo)
        << "    " << (j + 1) << ") flags <0x" << zel::Hex{entry.flags} << ">, path <"
        << entry.path.view() << ">, parent path <" << entry.parentPath.view() << ">";
    entries_.push_back(std::move(entry));
    return zel::kOk;
  }

 private:
  const zel::Tracer& trace_;
  CriticalProcessEntries& entries_;
};

}  // namespace

zel::result_t ParseEntryFlags(std::string_view text, std::uint64_t& flags) {
  flags = 0;
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    text.remove_prefix(2);
    base = 16;
  }
  if (text.empty() || text.front() == '-' || text.front() == '+') return zel::kErrInvalidType;
  std::uint64_t value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (ec == std::errc::result_out_of_range) return zel::kErrOverflow;
  if (ec != std::errc() || end != text.data() + text.size()) return zel::kErrInvalidType;
  flags = value;
  return zel::kOk;
}

zel::result_t ValidateProcessEntry(const zel::Tracer& trace, zel::IXmlNode* entry) {
  try {
    if (entry == nullptr) return zel::kErrInvalidArgument;
    zel::string name;
    zel::result_t code = xml::GetName(entry, name);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace, zel::kTraceError)
          << "Can't get vor list node name with error 0x" << zel::Hex{code};
      return code;
    }
    if (name.view() != kEntryName) {
      ZEL_TRACE(trace, zel::kTraceError) << "Invalid vor list entry node name!";
      return zel::kErrNotMatched;
    }
    std::uint64_t flags = 0;
    code = ReadFlags(entry, flags);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace, zel::kTraceError) << "Can't get flags with error 0x" << zel::Hex{code};
      return code;
    }
    // Kept valid on purpose; extraction leaves such an entry out.
    if (flags == 0) {
      ZEL_TRACE(trace, zel::kTraceError) << "Invalid flags!";
    }

    if (flags & kMatchProcessPath) {
      code = ValidatePath(trace, entry, kProcessPath);
      if (zel::Failed(code)) return code;
    }
    if (flags & kMatchParentPath) return ValidatePath(trace, entry, kParentPath);
    return zel::kOk;
  } catch (...) {
    return zel::ResultFromCurrentException(trace, "Exception caught at line 163 => ");
  }
}

zel::result_t ValidateProcessList(const zel::Tracer& trace, zel::IXmlNode* document) {
  try {
    ProcessListReporter reporter(trace, false);
    EntryValidator validator(trace);
    return xml::WalkLists(document, kValidated, nullptr, reporter, validator);
  } catch (...) {
    return zel::ResultFromCurrentException(trace, "Exception caught at line 229 => ");
  }
}

zel::result_t ExtractProcessList(const zel::Tracer& trace, zel::IXmlNode* document,
                                 CriticalProcessEntries& entries) {
  try {
    entries.clear();
    ProcessListReporter reporter(trace, true);
    EntryGatherer gatherer(trace, entries);
    return xml::WalkLists(document, kExtracted, nullptr, reporter, gatherer);
  } catch (...) {
    entries.clear();
    return zel::ResultFromCurrentException(trace, "Exception caught at line 305 => ");
  }
}

zel::result_t ReadProcessList(const zel::Tracer& trace, zel::IServiceLocator* locator,
                              zel::IIo* source, CriticalProcessEntries& entries) {
  entries.clear();
  Ref<zel::IXmlNode> document;
  zel::result_t code = xml::OpenListDocument(trace, locator, source, document);
  if (zel::Failed(code)) return code;
  code = xml::TraceStep(trace, ValidateProcessList(trace, document.get()), "validate config");
  if (zel::Failed(code)) return code;
  return xml::TraceStep(trace, ExtractProcessList(trace, document.get(), entries),
                             "extract vor process list from config");
}

}  // namespace vor
