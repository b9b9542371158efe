#include "filelist/vor_config_parser.h"

#include "runtime/host_access.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"
#include "runtime/xml_node.h"

namespace vor {
namespace {

constexpr std::string_view kListName = "vor_list";
constexpr std::string_view kEntryName = "vor_entry";

}  // namespace

VorConfigParser::VorConfigParser(zel::IServiceLocator* locator)
    : allocator_(zel::GetInterface<zel::IAllocator>(locator)),
      trace_(zel::GetInterface<zel::ITracer>(locator), "vor: "),
      serviceLocator_(locator),
      paths_(zel::HostAllocator<zel::string>(allocator_.get())) {
  ZEL_TRACE(trace_, zel::kTraceDebug) << "VorConfigParser " << zel::Ptr{this} << " was created";
}

VorConfigParser::~VorConfigParser() {
  ZEL_TRACE(trace_, zel::kTraceDebug) << "VorConfigParser " << zel::Ptr{this} << " was destroyed";
}

zel::result_t VorConfigParser::Init(zel::IIo* source) {
  try {
    ZEL_TRACE(trace_, zel::kTraceInfo) << "Begin config parser init...";
    Ref<zel::IXmlFactory> factory;
    zel::result_t code = zel::TryGetInterface(serviceLocator_.get(), factory);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace_, zel::kTraceError)
          << "Can't get xml factory with error 0x" << zel::Hex{code};
      return code;
    }
    Ref<zel::IXmlNode> document;
    code = factory->OpenDocument(source, zel::IXmlFactory::kFormatXmlText, document.put());
    if (zel::Succeeded(code) && !document) code = zel::kErrUnexpected;
    if (zel::Failed(code)) {
      ZEL_TRACE(trace_, zel::kTraceError) << "Can't open config with error 0x" << zel::Hex{code};
      return code;
    }
    code = Validate(document.get());
    if (zel::Failed(code)) {
      ZEL_TRACE(trace_, zel::kTraceError)
          << "Can't validate config with error 0x" << zel::Hex{code};
      return code;
    }
    code = Extract(document.get());
    if (zel::Failed(code)) {
      ZEL_TRACE(trace_, zel::kTraceError)
          << "Can't extract vor list from config with error 0x" << zel::Hex{code};
      return code;
    }
    ZEL_TRACE(trace_, zel::kTraceInfo) << "Config parser init status is ok";
    return zel::kOk;
  } catch (...) {
    return zel::ResultFromCurrentException(trace_, "Exception caught at line 409 => ");
  }
}

zel::result_t VorConfigParser::ValidateEntry(zel::IXmlNode* entry) {
  if (entry == nullptr) return zel::kErrInvalidArgument;
  zel::string name(allocator_.get());
  zel::result_t code = zel::xml::GetName(entry, name);
  if (zel::Failed(code)) {
    ZEL_TRACE(trace_, zel::kTraceError)
        << "Can't get vor list node name with error 0x" << zel::Hex{code};
    return code;
  }
  // A wrongly named entry is reported, not rejected: extraction reads its
  // path like any other. Kept so on purpose.
  if (name.view() != kEntryName) {
    ZEL_TRACE(trace_, zel::kTraceError) << "Invalid vor list entry node name!";
    return code;
  }
  zel::string path(allocator_.get());
  code = zel::xml::GetValue(entry, "path", path);
  if (zel::Failed(code)) {
    ZEL_TRACE(trace_, zel::kTraceError) << "Can't get path with error 0x" << zel::Hex{code};
    return code;
  }
  if (path.empty()) {
    ZEL_TRACE(trace_, zel::kTraceError) << "Empty path!";
    return zel::kErrInvalidPathName;
  }
  return zel::kOk;
}

zel::result_t VorConfigParser::Validate(zel::IXmlNode* document) {
  try {
    if (document == nullptr) return zel::kErrInvalidArgument;
    std::uint32_t lists = 0;
    zel::result_t code = zel::xml::GetChildCount(document, lists);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace_, zel::kTraceError)
          << "Can't get vor list count with error 0x" << zel::Hex{code};
      return code;
    }
    if (lists == 0) {
      ZEL_TRACE(trace_, zel::kTraceError) << "No vor list in config!";
      return zel::kErrInvalidSize;
    }
    std::uint32_t validEntries = 0;
    for (std::uint32_t i = 0; i < lists; ++i) {
      Ref<zel::IXmlNode> list;
      code = zel::xml::GetChild(document, i, list);
      if (zel::Failed(code)) {
        ZEL_TRACE(trace_, zel::kTraceError)
            << "Can't get vor list <" << i << "> with error 0x" << zel::Hex{code};
        continue;
      }
      zel::string name(allocator_.get());
      code = zel::xml::GetName(list.get(), name);
      if (zel::Failed(code)) {
        ZEL_TRACE(trace_, zel::kTraceError) << "Can't get name from vor list node <" << i
                                            << "> with error 0x" << zel::Hex{code};
        continue;
      }
      if (name.view() != kListName) {
        ZEL_TRACE(trace_, zel::kTraceError) << "Invalid vor list node name!";
        continue;
      }
      std::uint32_t entries = 0;
      code = zel::xml::GetChildCount(list.get(), entries);
      if (zel::Failed(code)) {
        ZEL_TRACE(trace_, zel::kTraceError) << "Can't get vor list <" << i
                                            << "> entry count with error 0x" << zel::Hex{code};
        continue;
      }
      for (std::uint32_t j = 0; j < entries; ++j) {
        Ref<zel::IXmlNode> entry;
        code = zel::xml::GetChild(list.get(), j, entry);
        if (zel::Failed(code)) {
          ZEL_TRACE(trace_, zel::kTraceError) << "Can't get vor list <" << i << "> entry <" << j
                                              << "> with error 0x" << zel::Hex{code};
          continue;
        }
        code = ValidateEntry(entry.get());
        if (zel::Failed(code)) {
          ZEL_TRACE(trace_, zel::kTraceError) << "Can't validate vor list <" << i << "> entry <"
                                              << j << "> with error 0x" << zel::Hex{code};
          continue;
        }
        ++validEntries;
      }
    }
    if (validEntries == 0) {
      ZEL_TRACE(trace_, zel::kTraceError) << "No vor list items in config!";
      return zel::kErrInvalidSize;
    }
    return zel::kOk;
  } catch (...) {
    return zel::ResultFromCurrentException(trace_, "Exception caught at line 98 => ");
  }
}

zel::result_t VorConfigParser::Extract(zel::IXmlNode* document) {
  try {
    paths_.clear();
    if (document == nullptr) return zel::kErrInvalidArgument;
    std::uint32_t lists = 0;
    zel::result_t code = zel::xml::GetChildCount(document, lists);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace_, zel::kTraceError)
          << "Can't get vor list count with error 0x" << zel::Hex{code};
      return code;
    }
    if (lists == 0) {
      ZEL_TRACE(trace_, zel::kTraceError) << "No vor list in config!";
      return zel::kErrInvalidSize;
    }
    // Names were the validation's business: every top-level node is read as a
    // list and every child of it as an entry.
    for (std::uint32_t i = 0; i < lists; ++i) {
      Ref<zel::IXmlNode> list;
      code = zel::xml::GetChild(document, i, list);
      if (zel::Failed(code)) {
        ZEL_TRACE(trace_, zel::kTraceError)
            << "Can't get vor list <" << i << "> with error 0x" << zel::Hex{code};
        continue;
      }
      std::uint32_t entries = 0;
      code = zel::xml::GetChildCount(list.get(), entries);
      if (zel::Failed(code)) {
        ZEL_TRACE(trace_, zel::kTraceError) << "Can't get vor list <" << i
                                            << "> entry count with error 0x" << zel::Hex{code};
        continue;
      }
      ZEL_TRACE(trace_, zel::kTraceInfo) << "Parsing vor list <" << i << ">...";
      for (std::uint32_t j = 0; j < entries; ++j) {
        Ref<zel::IXmlNode> entry;
        code = zel::xml::GetChild(list.get(), j, entry);
        if (zel::Failed(code)) {
          ZEL_TRACE(trace_, zel::kTraceError) << "Can't get vor list <" << i << "> entry <" << j
                                              << "> with error 0x" << zel::Hex{code};
          continue;
        }
        zel::string path(allocator_.get());
        code = zel::xml::GetValue(entry.get(), "path", path);
        if (zel::Failed(code)) {
          ZEL_TRACE(trace_, zel::kTraceError) << "Can't get path vor list <" << i << "> entry <"
                                              << j << "> with error 0x" << zel::Hex{code};
          continue;
        }
        ZEL_TRACE(trace_, zel::kTraceInfo) << "    " << (j + 1) << ") " << path.view();
        if (path.empty()) {
          ZEL_TRACE(trace_, zel::kTraceError)
              << "Empty path for vor list <" << i << "> entry <" << j << ">!";
          continue;
        }
        paths_.push_back(std::move(path));
      }
      ZEL_TRACE(trace_, zel::kTraceInfo) << "Done";
    }
    if (paths_.empty()) {
      ZEL_TRACE(trace_, zel::kTraceError) << "No vor list items in config!";
      return zel::kErrInvalidSize;
    }
    return zel::kOk;
  } catch (...) {
    paths_.clear();
    return zel::ResultFromCurrentException(trace_, "Exception caught at line 354 => ");
  }
}

}  // namespace vor
