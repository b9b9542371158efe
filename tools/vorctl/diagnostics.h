// Facts the host ABI does not expose, computed with the module's own code
// (module/tool_facts.h) over the session's host services: the OS release the
// module detects and the critical file set it builds.
#ifndef VOR_TOOLS_VORCTL_DIAGNOSTICS_H_
#define VOR_TOOLS_VORCTL_DIAGNOSTICS_H_

#include "module/tool_facts.h"
#include "vor/session.hpp"

namespace vorctl {

vor::facts::OsRelease FindOsRelease(vor::host::Session& session);
vor::facts::FileSet BuildFileSet(vor::host::Session& session);

}  // namespace vorctl

#endif  // VOR_TOOLS_VORCTL_DIAGNOSTICS_H_
