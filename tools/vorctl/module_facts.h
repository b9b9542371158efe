// The critical file set as the loaded module holds it: vorctl's copy of the
// module's table (module/tool_facts.h) with every path confirmed by the
// loaded module; and whether a path is present below the sysroot.
#ifndef VOR_TOOLS_VORCTL_MODULE_FACTS_H_
#define VOR_TOOLS_VORCTL_MODULE_FACTS_H_

#include <string>
#include <vector>

#include "globals.h"
#include "vor/session.hpp"

namespace vorctl {

struct CriticalFiles {
  bool ok = true;                  // false: a failure was printed on stderr
  std::vector<std::string> paths;  // sorted, each one critical to the loaded module
};
CriticalFiles ConfirmedFileSet(vor::host::Session& session);

// Whether `path` exists (as a link, if it is one) below the sysroot.
class Presence {
 public:
  explicit Presence(const Globals& globals);
  ~Presence();
  Presence(const Presence&) = delete;
  Presence& operator=(const Presence&) = delete;
  bool operator()(const std::string& path) const;

 private:
  int rootFd_ = -1;  // -1: "/"
};

}  // namespace vorctl

#endif  // VOR_TOOLS_VORCTL_MODULE_FACTS_H_
