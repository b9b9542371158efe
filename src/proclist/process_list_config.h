// The XML critical process list ("vor_proc.xms"): document checks and the
// extraction of its entries. Validation is lenient (one good entry makes the
// document valid); extraction walks every node again and skips bad entries.
#ifndef VOR_PROCLIST_PROCESS_LIST_CONFIG_H_
#define VOR_PROCLIST_PROCESS_LIST_CONFIG_H_

#include <cstdint>
#include <vector>

#include "runtime/string.h"
#include "runtime/trace.h"
#include "vor/io.h"
#include "vor/xml.h"

namespace vor {

inline constexpr std::uint64_t kMatchProcessPath = 1;
inline constexpr std::uint64_t kMatchParentPath = 2;

struct CriticalProcessEntry {
  std::uint64_t flags = 0;  // bits other than the two above are kept as read
  zel::string path;         // set only with kMatchProcessPath
  zel::string parentPath;   // set only with kMatchParentPath
};
using CriticalProcessEntries = std::vector<CriticalProcessEntry>;

zel::result_t ValidateProcessEntry(const zel::Tracer& trace, zel::IXmlNode* entry);
zel::result_t ValidateProcessList(const zel::Tracer& trace, zel::IXmlNode* document);
// Replaces `entries` with the document's usable entries, in document order.
zel::result_t ExtractProcessList(const zel::Tracer& trace, zel::IXmlNode* document,
                                 CriticalProcessEntries& entries);

// Opens `source` with the locator's XML factory, validates and extracts it
// into `entries`, tracing each failing step.
zel::result_t ReadProcessList(const zel::Tracer& trace, zel::IServiceLocator* locator,
                              zel::IIo* source, CriticalProcessEntries& entries);

// The "flags" value: decimal, or hex after "0x"; nothing else around it.
zel::result_t ParseEntryFlags(std::string_view text, std::uint64_t& flags);

}  // namespace vor

#endif  // VOR_PROCLIST_PROCESS_LIST_CONFIG_H_
