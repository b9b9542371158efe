// What vorctl computes with the module's own components (linked from
// vor_core) for facts the ABI does not expose: the OS release the module
// detects and the critical file set it builds.
#ifndef VOR_TOOLS_VORCTL_DIAGNOSTICS_H_
#define VOR_TOOLS_VORCTL_DIAGNOSTICS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "reference_host.h"

namespace vorctl {

struct OsReleaseAnswer {
  std::uint32_t result = 0;
  std::string name;
  std::string version;
};

struct FileListAnswer {
  std::uint32_t result = 0;
  std::string failedStep;  // which step failed, for the error message
  std::vector<std::string> paths;  // sorted
  std::vector<std::string> libraryDirectories;  // found by the probe
};

OsReleaseAnswer FindOsRelease(const ReferenceHost& host);
// Builds the file list as the module does (the storage supplies nothing).
FileListAnswer BuildFileList(const ReferenceHost& host, zel::IStorage* storage);

}  // namespace vorctl

#endif  // VOR_TOOLS_VORCTL_DIAGNOSTICS_H_
