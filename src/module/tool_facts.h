// The module's code that vorctl borrows, for facts the host ABI does not
// expose: the critical file set it builds, the entries a process list
// document yields, the host settings it reads, and the /proc facts of a
// process. None of it writes trace lines through the host's tracer: what the
// loaded module says is told by the loaded module alone. This header is the
// only way into the module's internals from tools/: it speaks in standard
// types and public ABI interfaces only.
#ifndef VOR_MODULE_TOOL_FACTS_H_
#define VOR_MODULE_TOOL_FACTS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "vor/host_services.h"
#include "vor/io.h"
#include "vor/object.h"

namespace vor::facts {

struct FileSet {
  zel::result_t result = 0;
  std::string failedStep;                       // for the error message
  std::vector<std::string> paths;               // sorted
  std::vector<std::string> libraryDirectories;  // found by the probe
};
// The critical file set as the module builds it (the storage supplies nothing),
// from the locator's allocator; nothing is traced.
FileSet BuildFileSet(zel::IServiceLocator* locator, zel::IAllocator* allocator,
                     zel::IStorage* storage);

struct ProcessListEntry {
  std::uint64_t flags = 0;
  std::string path;
  std::string parentPath;
};
// Validates and extracts a process list document as an update would, tracing
// through `tracer` (may be null) with the module's own lines.
zel::result_t ReadProcessListDocument(zel::ITracer* tracer, zel::IServiceLocator* locator,
                                      zel::IIo* document, std::vector<ProcessListEntry>& entries);

// The feature flags and the %NAME% environment names the module reads.
struct HostSettings {
  std::vector<std::string> flags;
  std::vector<std::string> environment;
};
HostSettings SettingsRead();

// The module's result code for a C library error number.
zel::result_t ResultFromErrno(int error);

// /proc facts of one process, as the module reads them; nothing is traced.
zel::result_t ReadParentPid(std::uint32_t pid, std::uint32_t& ppid);
zel::result_t ReadImagePath(std::uint32_t pid, std::string& image);

}  // namespace vor::facts

#endif  // VOR_MODULE_TOOL_FACTS_H_
