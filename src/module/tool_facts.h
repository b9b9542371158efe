// The module's code that vorctl borrows, for facts the host ABI does not
// expose: the OS release the module detects, the critical file set it builds,
// the entries a process list document yields, and the /proc facts of a
// process. This header is the only way into the module's internals from
// tools/: it speaks in standard types and public ABI interfaces only.
#ifndef VOR_MODULE_TOOL_FACTS_H_
#define VOR_MODULE_TOOL_FACTS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "vor/host_services.h"
#include "vor/io.h"
#include "vor/object.h"

namespace vor::facts {

struct OsRelease {
  zel::result_t result = 0;
  std::string name;
  std::string version;
};
// The release files under the file factory's root, read as the module reads them.
OsRelease FindOsRelease(zel::IServiceLocator* locator, zel::ILumoFileFactory* files);

struct FileSet {
  zel::result_t result = 0;
  std::string failedStep;                       // for the error message
  std::vector<std::string> paths;               // sorted
  std::vector<std::string> libraryDirectories;  // found by the probe
};
// The critical file set as the module builds it (the storage supplies nothing).
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

// /proc facts of one process, as the module reads them; nothing is traced.
zel::result_t ReadParentPid(std::uint32_t pid, std::uint32_t& ppid);
zel::result_t ReadImagePath(std::uint32_t pid, std::string& image);

}  // namespace vor::facts

#endif  // VOR_MODULE_TOOL_FACTS_H_
