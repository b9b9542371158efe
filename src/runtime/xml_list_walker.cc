#include "runtime/xml_list_walker.h"

#include "runtime/host_access.h"
#include "runtime/result.h"
#include "runtime/string.h"
#include "runtime/xml_node.h"

namespace vor::xml {

void ListReporter::Fault(ListFault fault, std::uint32_t list, std::uint32_t entry,
                         zel::result_t code) {
  if (fault == ListFault::kBadEntry && extracting_) return;
  zel::TraceLine line(trace_, zel::kTraceError);
  if (!line) return;
  Describe(fault, list, entry, line);
  if (fault != ListFault::kNoLists && fault != ListFault::kWrongListName &&
      fault != ListFault::kNoEntries) {
    line << " with error 0x" << zel::Hex{code};
  }
}

zel::result_t WalkLists(zel::IXmlNode* document, const ListShape& shape, zel::IAllocator* allocator,
                   ListReporter& reporter, ListVisitor& visitor) {
  if (document == nullptr) return zel::kErrInvalidArgument;
  std::uint32_t lists = 0;
  zel::result_t code = GetChildCount(document, lists);
  if (zel::Failed(code)) {
    reporter.Fault(ListFault::kListCount, 0, 0, code);
    return code;
  }
  if (lists == 0) {
    reporter.Fault(ListFault::kNoLists, 0, 0, zel::kErrInvalidSize);
    return zel::kErrInvalidSize;
  }
  std::uint32_t accepted = 0;
  for (std::uint32_t i = 0; i < lists; ++i) {
    Ref<zel::IXmlNode> list;
    code = GetChild(document, i, list);
    if (zel::Failed(code)) {
      reporter.Fault(ListFault::kGetList, i, 0, code);
      continue;
    }
    if (!shape.listName.empty()) {
      zel::string name(allocator);
      code = GetName(list.get(), name);
      if (zel::Failed(code)) {
        reporter.Fault(ListFault::kListName, i, 0, code);
        continue;
      }
      if (name.view() != shape.listName) {
        reporter.Fault(ListFault::kWrongListName, i, 0, code);
        continue;
      }
    }
    std::uint32_t entries = 0;
    code = GetChildCount(list.get(), entries);
    if (zel::Failed(code)) {
      reporter.Fault(ListFault::kEntryCount, i, 0, code);
      continue;
    }
    visitor.BeginList(i);
    for (std::uint32_t j = 0; j < entries; ++j) {
      Ref<zel::IXmlNode> entry;
      code = GetChild(list.get(), j, entry);
      if (zel::Failed(code)) {
        reporter.Fault(ListFault::kGetEntry, i, j, code);
        continue;
      }
      code = visitor.Entry(i, j, entry.get());
      if (zel::Failed(code)) {
        reporter.Fault(ListFault::kBadEntry, i, j, code);
        continue;
      }
      ++accepted;
    }
    visitor.EndList(i);
  }
  if (accepted == 0 && shape.entryRequired) {
    reporter.Fault(ListFault::kNoEntries, 0, 0, zel::kErrInvalidSize);
    return zel::kErrInvalidSize;
  }
  return zel::kOk;
}

zel::result_t OpenListDocument(const zel::Tracer& trace, zel::IServiceLocator* locator, zel::IIo* source,
                          Ref<zel::IXmlNode>& document) {
  document.reset();
  Ref<zel::IXmlFactory> factory;
  zel::result_t code = TraceStep(trace, zel::TryGetInterface(locator, factory), "get xml factory");
  if (zel::Failed(code)) return code;
  code = factory->OpenDocument(source, zel::IXmlFactory::kFormatXmlText, document.put());
  if (zel::Succeeded(code) && !document) code = zel::kErrUnexpected;
  return TraceStep(trace, code, "open config");
}

zel::result_t TraceStep(const zel::Tracer& trace, zel::result_t code, std::string_view step) {
  if (zel::Failed(code)) {
    ZEL_TRACE(trace, zel::kTraceError) << "Can't " << step << " with error 0x" << zel::Hex{code};
  }
  return code;
}

}  // namespace vor::xml
