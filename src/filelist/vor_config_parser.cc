#include "filelist/vor_config_parser.h"

#include "runtime/host_access.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"
#include "runtime/xml_list_walker.h"
#include "runtime/xml_node.h"

namespace vor {
namespace {

using xml::ListFault;

constexpr xml::ListShape kValidated{"vor_list", true};
// Names were the validation's business: extraction reads every top-level
// node as a list and every child of it as an entry.
constexpr xml::ListShape kExtracted{"", true};
constexpr std::string_view kEntryName = "vor_entry";

// The file list's words for the walk's faults.
class FileListReporter final : public xml::ListReporter {
 public:
  using ListReporter::ListReporter;

 protected:
  void Describe(ListFault fault, std::uint32_t i, std::uint32_t j, zel::TraceLine& line) override {
    switch (fault) {
      case ListFault::kListCount: line << "Can't get vor list count"; break;
      case ListFault::kNoLists: line << "No vor list in config!"; break;
      case ListFault::kGetList: line << "Can't get vor list <" << i << ">"; break;
      case ListFault::kListName: line << "Can't get name from vor list node <" << i << ">"; break;
      case ListFault::kWrongListName: line << "Invalid vor list node name!"; break;
      case ListFault::kEntryCount: line << "Can't get vor list <" << i << "> entry count"; break;
      case ListFault::kGetEntry: line << "Can't get vor list <" << i << "> entry <" << j << ">"; break;
      case ListFault::kBadEntry:
        line << "Can't validate vor list <" << i << "> entry <" << j << ">";
        break;
      case ListFault::kNoEntries: line << "No vor list items in config!"; break;
    }
  }
};

class EntryValidator final : public xml::ListVisitor {
 public:
  explicit EntryValidator(VorConfigParser& parser) : parser_(parser) {}
  zel::result_t Entry(std::uint32_t, std::uint32_t, zel::IXmlNode* node) override {
    return parser_.ValidateEntry(node);
  }

 private:
  VorConfigParser& parser_;
};

}  // namespace

// Gathers the path of each entry; an entry without a usable path is traced
// and left out.
class VorConfigParser::PathGatherer final : public xml::ListVisitor {
 public:
  explicit PathGatherer(VorConfigParser& parser) : parser_(parser) {}

  void BeginList(std::uint32_t i) override {
    ZEL_TRACE(parser_.host_.trace, zel::kTraceInfo) << "Parsing vor list <" << i << ">...";
  }
  void EndList(std::uint32_t) override { ZEL_TRACE(parser_.host_.trace, zel::kTraceInfo) << "Done"; }

  zel::result_t Entry(std::uint32_t i, std::uint32_t j, zel::IXmlNode* node) override {
    const zel::Tracer& trace = parser_.host_.trace;
    zel::string path(parser_.host_.allocator.get());
    const zel::result_t code = xml::GetValue(node, "path", path);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace, zel::kTraceError) << "Can't get path vor list <" << i << "> entry <" << j
                                         << "> with error 0x" << zel::Hex{code};
      return code;
    }
    ZEL_TRACE(trace, zel::kTraceInfo) << "    " << (j + 1) << ") " << path.view();
    if (path.empty()) {
      ZEL_TRACE(trace, zel::kTraceError)
          << "Empty path for vor list <" << i << "> entry <" << j << ">!";
      return zel::kErrInvalidPathName;
    }
    parser_.paths_.push_back(std::move(path));
    return zel::kOk;
  }

 private:
  VorConfigParser& parser_;
};

VorConfigParser::VorConfigParser(zel::IServiceLocator* locator)
    : host_(locator, "vor: "),
      paths_(zel::HostAllocator<zel::string>(host_.allocator.get())) {
  ZEL_TRACE(host_.trace, zel::kTraceDebug) << "VorConfigParser " << zel::Ptr{this} << " was created";
}

VorConfigParser::~VorConfigParser() {
  ZEL_TRACE(host_.trace, zel::kTraceDebug) << "VorConfigParser " << zel::Ptr{this} << " was destroyed";
}

zel::result_t VorConfigParser::Init(zel::IIo* source) {
  try {
    ZEL_TRACE(host_.trace, zel::kTraceInfo) << "Begin config parser init...";
    Ref<zel::IXmlNode> document;
    zel::result_t code = xml::OpenListDocument(host_.trace, host_.locator.get(), source, document);
    if (zel::Failed(code)) return code;
    code = xml::TraceStep(host_.trace, Validate(document.get()), "validate config");
    if (zel::Failed(code)) return code;
    code = xml::TraceStep(host_.trace, Extract(document.get()), "extract vor list from config");
    if (zel::Failed(code)) return code;
    ZEL_TRACE(host_.trace, zel::kTraceInfo) << "Config parser init status is ok";
    return zel::kOk;
  } catch (...) {
    return zel::ResultFromCurrentException(host_.trace, "Exception caught at line 409 => ");
  }
}

zel::result_t VorConfigParser::ValidateEntry(zel::IXmlNode* entry) {
  try {
    if (entry == nullptr) return zel::kErrInvalidArgument;
    zel::string name(host_.allocator.get());
    zel::result_t code = xml::GetName(entry, name);
    if (zel::Failed(code)) {
      ZEL_TRACE(host_.trace, zel::kTraceError)
          << "Can't get vor list node name with error 0x" << zel::Hex{code};
      return code;
    }
    // A wrongly named entry is reported, not rejected: extraction reads its
    // path like any other. Kept so on purpose.
    if (name.view() != kEntryName) {
      ZEL_TRACE(host_.trace, zel::kTraceError) << "Invalid vor list entry node name!";
      return code;
    }
    zel::string path(host_.allocator.get());
    code = xml::GetValue(entry, "path", path);
    if (zel::Failed(code)) {
      ZEL_TRACE(host_.trace, zel::kTraceError) << "Can't get path with error 0x" << zel::Hex{code};
      return code;
    }
    if (path.empty()) {
      ZEL_TRACE(host_.trace, zel::kTraceError) << "Empty path!";
      return zel::kErrInvalidPathName;
    }
    return zel::kOk;
  } catch (...) {
    return zel::ResultFromCurrentException(host_.trace, "Exception caught at line 98 => ");
  }
}

// No catch of its own: an exception here ends at Init's.
zel::result_t VorConfigParser::Validate(zel::IXmlNode* document) {
  FileListReporter reporter(host_.trace, false);
  EntryValidator validator(*this);
  return xml::WalkLists(document, kValidated, host_.allocator.get(), reporter, validator);
}

zel::result_t VorConfigParser::Extract(zel::IXmlNode* document) {
  try {
    paths_.clear();
    FileListReporter reporter(host_.trace, true);
    PathGatherer gatherer(*this);
    return xml::WalkLists(document, kExtracted, host_.allocator.get(), reporter, gatherer);
  } catch (...) {
    paths_.clear();
    return zel::ResultFromCurrentException(host_.trace, "Exception caught at line 354 => ");
  }
}

}  // namespace vor
