// Both XML lists the module reads have one shape: a document whose top-level
// nodes are lists, each holding entries. The walk over that shape is written
// once, here; a list's reader keeps only its names, its entry reader and the
// words of its trace lines.
//
// The walk is lenient: a failure of one node is reported and the walk goes on
// with the next, so that one good entry can carry a document.
#ifndef VOR_RUNTIME_XML_LIST_WALKER_H_
#define VOR_RUNTIME_XML_LIST_WALKER_H_

#include <cstdint>
#include <string_view>

#include "runtime/trace.h"
#include "vor/host_services.h"
#include "vor/io.h"
#include "vor/ref.h"
#include "vor/xml.h"

namespace vor::xml {

// Where a walk found a node it could not use.
enum class ListFault {
  kListCount,      // the document's child count failed
  kNoLists,        // the document has no child
  kGetList,        // list `list` could not be had
  kListName,       // its name could not be read
  kWrongListName,  // it has another name: skipped
  kEntryCount,     // its entry count failed
  kGetEntry,       // entry `entry` of it could not be had
  kBadEntry,       // the visitor refused that entry
  kNoEntries,      // no entry was accepted, and one is required
};

// Traces each fault of a walk once, at level 300, in the words of the list
// being read. During extraction a refused entry was already traced by the
// entry reader, so it is not reported twice.
class ListReporter {
 public:
  ListReporter(const zel::Tracer& trace, bool extracting)
      : trace_(trace), extracting_(extracting) {}
  void Fault(ListFault fault, std::uint32_t list, std::uint32_t entry, zel::result_t code);

 protected:
  ~ListReporter() = default;
  // Writes what went wrong; " with error 0x<code>" follows where the fault
  // carries a host code.
  virtual void Describe(ListFault fault, std::uint32_t list, std::uint32_t entry,
                        zel::TraceLine& line) = 0;
  bool extracting() const { return extracting_; }

 private:
  const zel::Tracer& trace_;
  bool extracting_;
};

// Handed each entry of each list, in document order.
class ListVisitor {
 public:
  virtual void BeginList(std::uint32_t /*list*/) {}
  // A failure refuses the entry: it is reported as kBadEntry and not counted.
  virtual zel::result_t Entry(std::uint32_t list, std::uint32_t entry, zel::IXmlNode* node) = 0;
  virtual void EndList(std::uint32_t /*list*/) {}

 protected:
  ~ListVisitor() = default;
};

struct ListShape {
  // The name every list must have; empty: every top-level node is a list.
  std::string_view listName;
  // Whether a walk without an accepted entry fails (kNoEntries).
  bool entryRequired = true;
};

// Walks `document`. Fails with the child count's code, or 0x8000005c for a
// document without lists or without a required entry; a null document gives
// 0x80000046. May throw (out of memory while reading a name).
zel::result_t WalkLists(zel::IXmlNode* document, const ListShape& shape, zel::IAllocator* allocator,
                   ListReporter& reporter, ListVisitor& visitor);

// Opens `source` as XML text with the locator's XML factory, tracing a
// failure of either step.
zel::result_t OpenListDocument(const zel::Tracer& trace, zel::IServiceLocator* locator, zel::IIo* source,
                          Ref<zel::IXmlNode>& document);

// Traces "Can't <step> with error 0x<code>" when `code` is a failure; returns it.
zel::result_t TraceStep(const zel::Tracer& trace, zel::result_t code, std::string_view step);

}  // namespace vor::xml

#endif  // VOR_RUNTIME_XML_LIST_WALKER_H_
