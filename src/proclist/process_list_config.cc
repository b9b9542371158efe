#include "proclist/process_list_config.h"

#include <charconv>

#include "runtime/host_access.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"
#include "runtime/xml_node.h"

namespace vor {
namespace {

constexpr zel::result_t kErrNotMatched = 0x8000004a;
constexpr zel::result_t kErrInvalidType = 0x8000005d;
constexpr zel::result_t kErrOverflow = 0x80000077;

constexpr std::string_view kListName = "vor_process_list";
constexpr std::string_view kEntryName = "vor_process_entry";

// Reads "flags" of an entry node as a number.
zel::result_t ReadFlags(zel::IXmlNode* entry, std::uint64_t& flags) {
  flags = 0;
  zel::string text;
  const zel::result_t code = zel::xml::GetValue(entry, "flags", text);
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
  const zel::result_t code = zel::xml::GetValue(entry, value.name, path);
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
  const zel::result_t code = zel::xml::GetValue(entry, value.name, path);
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

}  // namespace

zel::result_t ParseEntryFlags(std::string_view text, std::uint64_t& flags) {
  flags = 0;
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    text.remove_prefix(2);
    base = 16;
  }
  if (text.empty() || text.front() == '-' || text.front() == '+') return kErrInvalidType;
  std::uint64_t value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (ec == std::errc::result_out_of_range) return kErrOverflow;
  if (ec != std::errc() || end != text.data() + text.size()) return kErrInvalidType;
  flags = value;
  return zel::kOk;
}

zel::result_t ValidateProcessEntry(const zel::Tracer& trace, zel::IXmlNode* entry) {
  try {
    if (entry == nullptr) return zel::kErrInvalidArgument;
    zel::string name;
    zel::result_t code = zel::xml::GetName(entry, name);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace, zel::kTraceError)
          << "Can't get vor list node name with error 0x" << zel::Hex{code};
      return code;
    }
    if (name.view() != kEntryName) {
      ZEL_TRACE(trace, zel::kTraceError) << "Invalid vor list entry node name!";
      return kErrNotMatched;
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
    if (document == nullptr) return zel::kErrInvalidArgument;
    std::uint32_t lists = 0;
    zel::result_t code = zel::xml::GetChildCount(document, lists);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace, zel::kTraceError)
          << "Can't get vor process list count with error 0x" << zel::Hex{code};
      return code;
    }
    if (lists == 0) {
      ZEL_TRACE(trace, zel::kTraceError) << "No vor process list in config!";
      return zel::kErrInvalidSize;
    }

    // Failures of single nodes are traced and the walk goes on.
    std::uint32_t validEntries = 0;
    for (std::uint32_t i = 0; i < lists; ++i) {
      Ref<zel::IXmlNode> list;
      code = zel::xml::GetChild(document, i, list);
      if (zel::Failed(code)) {
        ZEL_TRACE(trace, zel::kTraceError)
            << "Can't get vor process list " << i << " with error 0x" << zel::Hex{code};
        continue;
      }
      zel::string name;
      code = zel::xml::GetName(list.get(), name);
      if (zel::Failed(code)) {
        ZEL_TRACE(trace, zel::kTraceError) << "Can't get vor process list node name " << i
                                           << " with error 0x" << zel::Hex{code};
        continue;
      }
      if (name.view() != kListName) {
        ZEL_TRACE(trace, zel::kTraceError) << "Invalid vor process list node name!";
        continue;
      }
      std::uint32_t entries = 0;
      code = zel::xml::GetChildCount(list.get(), entries);
      if (zel::Failed(code)) {
        ZEL_TRACE(trace, zel::kTraceError) << "Can't get vor process list " << i
                                           << " entry count with error 0x" << zel::Hex{code};
        continue;
      }
      for (std::uint32_t j = 0; j < entries; ++j) {
        Ref<zel::IXmlNode> entry;
        code = zel::xml::GetChild(list.get(), j, entry);
        if (zel::Failed(code)) {
          ZEL_TRACE(trace, zel::kTraceError) << "Can't get vor process list " << i << " entry "
                                             << j << " with error 0x" << zel::Hex{code};
          continue;
        }
        code = ValidateProcessEntry(trace, entry.get());
        if (zel::Failed(code)) {
          ZEL_TRACE(trace, zel::kTraceError) << "Can't validate vor process list " << i
                                             << " entry " << j << " with error 0x"
                                             << zel::Hex{code};
          continue;
        }
        ++validEntries;
      }
    }
    if (validEntries == 0) {
      ZEL_TRACE(trace, zel::kTraceError) << "No vor process list items in config!";
      return zel::kErrInvalidSize;
    }
    return zel::kOk;
  } catch (...) {
    return zel::ResultFromCurrentException(trace, "Exception caught at line 229 => ");
  }
}

zel::result_t ExtractProcessList(const zel::Tracer& trace, zel::IXmlNode* document,
                                 CriticalProcessEntries& entries) {
  try {
    entries.clear();
    if (document == nullptr) return zel::kErrInvalidArgument;
    std::uint32_t lists = 0;
    zel::result_t code = zel::xml::GetChildCount(document, lists);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace, zel::kTraceError)
          << "Can't get vor list count with error 0x" << zel::Hex{code};
      return code;
    }
    if (lists == 0) {
      ZEL_TRACE(trace, zel::kTraceError) << "No vor process list in config!";
      return zel::kErrInvalidSize;
    }

    // Names were checked by validation: every top-level node counts as a list
    // and every child of it as an entry.
    for (std::uint32_t i = 0; i < lists; ++i) {
      Ref<zel::IXmlNode> list;
      code = zel::xml::GetChild(document, i, list);
      if (zel::Failed(code)) {
        ZEL_TRACE(trace, zel::kTraceError)
            << "Can't get vor process list " << i << " with error 0x" << zel::Hex{code};
        continue;
      }
      std::uint32_t count = 0;
      code = zel::xml::GetChildCount(list.get(), count);
      if (zel::Failed(code)) {
        ZEL_TRACE(trace, zel::kTraceError) << "Can't get vor process list 0x" << zel::Hex{i}
                                           << " entry count with error 0x" << zel::Hex{code};
        continue;
      }
      ZEL_TRACE(trace, zel::kTraceInfo) << "Parsing vor process list " << i << "...";
      for (std::uint32_t j = 0; j < count; ++j) {
        Ref<zel::IXmlNode> node;
        code = zel::xml::GetChild(list.get(), j, node);
        if (zel::Failed(code)) {
          ZEL_TRACE(trace, zel::kTraceError) << "Can't get vor process list " << i << " entry "
                                             << j << " with error 0x" << zel::Hex{code};
          continue;
        }
        CriticalProcessEntry entry;
        code = ReadFlags(node.get(), entry.flags);
        if (zel::Failed(code)) {
          ZEL_TRACE(trace, zel::kTraceError) << "Can't get flags from process list " << i
                                             << " entry " << j << " with error 0x"
                                             << zel::Hex{code};
          continue;
        }
        if (entry.flags == 0) {
          ZEL_TRACE(trace, zel::kTraceError)
              << "Invalid flags for process list " << i << " entry " << j;
          continue;
        }
        if ((entry.flags & kMatchProcessPath) &&
            !ExtractPath(trace, node.get(), kProcessPath, i, j, entry.path)) {
          continue;
        }
        if ((entry.flags & kMatchParentPath) &&
            !ExtractPath(trace, node.get(), kParentPath, i, j, entry.parentPath)) {
          continue;
        }
        ZEL_TRACE(trace, zel::kTraceInfo)
            << "    " << (j + 1) << ") flags <0x" << zel::Hex{entry.flags} << ">, path <"
            << entry.path.view() << ">, parent path <" << entry.parentPath.view() << ">";
        entries.push_back(std::move(entry));
      }
      ZEL_TRACE(trace, zel::kTraceInfo) << "Done";
    }
    return zel::kOk;
  } catch (...) {
    entries.clear();
    return zel::ResultFromCurrentException(trace, "Exception caught at line 305 => ");
  }
}

zel::result_t ReadProcessList(const zel::Tracer& trace, zel::IServiceLocator* locator,
                              zel::IIo* source, CriticalProcessEntries& entries) {
  entries.clear();
  Ref<zel::IXmlFactory> factory;
  zel::result_t code = zel::TryGetInterface(locator, factory);
  if (zel::Failed(code)) {
    ZEL_TRACE(trace, zel::kTraceError) << "Can't get xml factory with error 0x" << zel::Hex{code};
    return code;
  }
  Ref<zel::IXmlNode> document;
  code = factory->OpenDocument(source, zel::IXmlFactory::kFormatXmlText, document.put());
  if (zel::Succeeded(code) && !document) code = zel::kErrUnexpected;
  if (zel::Failed(code)) {
    ZEL_TRACE(trace, zel::kTraceError) << "Can't open config with error 0x" << zel::Hex{code};
    return code;
  }
  code = ValidateProcessList(trace, document.get());
  if (zel::Failed(code)) {
    ZEL_TRACE(trace, zel::kTraceError) << "Can't validate config with error 0x" << zel::Hex{code};
    return code;
  }
  code = ExtractProcessList(trace, document.get(), entries);
  if (zel::Failed(code)) {
    ZEL_TRACE(trace, zel::kTraceError)
        << "Can't extract vor process list from config with error 0x" << zel::Hex{code};
    return code;
  }
  return zel::kOk;
}

}  // namespace vor
