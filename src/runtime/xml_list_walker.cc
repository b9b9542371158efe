#include "runtime/xml_list_walker.h"

#include "runtime/host_access.h"
#include "runtime/result.h"
#include "runtime/string.h"
#include "runtime/xml_node.h"

namespace zel::xml {

result_t WalkLists(IXmlNode* document, const ListShape& shape, IAllocator* allocator,
                   ListReporter& reporter, ListVisitor& visitor) {
  if (document == nullptr) return kErrInvalidArgument;
  std::uint32_t lists = 0;
  result_t code = GetChildCount(document, lists);
  if (Failed(code)) {
    reporter.Fault(ListFault::kListCount, 0, 0, code);
    return code;
  }
  if (lists == 0) {
    reporter.Fault(ListFault::kNoLists, 0, 0, kErrInvalidSize);
    return kErrInvalidSize;
  }
  std::uint32_t accepted = 0;
  for (std::uint32_t i = 0; i < lists; ++i) {
    vor::Ref<IXmlNode> list;
    code = GetChild(document, i, list);
    if (Failed(code)) {
      reporter.Fault(ListFault::kGetList, i, 0, code);
      continue;
    }
    if (!shape.listName.empty()) {
      string name(allocator);
      code = GetName(list.get(), name);
      if (Failed(code)) {
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
    if (Failed(code)) {
      reporter.Fault(ListFault::kEntryCount, i, 0, code);
      continue;
    }
    visitor.BeginList(i);
    for (std::uint32_t j = 0; j < entries; ++j) {
      vor::Ref<IXmlNode> entry;
      code = GetChild(list.get(), j, entry);
      if (Failed(code)) {
        reporter.Fault(ListFault::kGetEntry, i, j, code);
        continue;
      }
      code = visitor.Entry(i, j, entry.get());
      if (Failed(code)) {
        reporter.Fault(ListFault::kBadEntry, i, j, code);
        continue;
      }
      ++accepted;
    }
    visitor.EndList(i);
  }
  if (accepted == 0 && shape.entryRequired) {
    reporter.Fault(ListFault::kNoEntries, 0, 0, kErrInvalidSize);
    return kErrInvalidSize;
  }
  return kOk;
}

result_t OpenListDocument(const Tracer& trace, IServiceLocator* locator, IIo* source,
                          vor::Ref<IXmlNode>& document) {
  document.reset();
  vor::Ref<IXmlFactory> factory;
  result_t code = TraceStep(trace, TryGetInterface(locator, factory), "get xml factory");
  if (Failed(code)) return code;
  code = factory->OpenDocument(source, IXmlFactory::kFormatXmlText, document.put());
  if (Succeeded(code) && !document) code = kErrUnexpected;
  return TraceStep(trace, code, "open config");
}

result_t TraceStep(const Tracer& trace, result_t code, std::string_view step) {
  if (Failed(code)) {
    ZEL_TRACE(trace, kTraceError) << "Can't " << step << " with error 0x" << Hex{code};
  }
  return code;
}

}  // namespace zel::xml
