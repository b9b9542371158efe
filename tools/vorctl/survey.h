// What status and metrics report of this machine, gathered once: what the
// loaded module found, the critical file set and how much of it is here, the
// process list in force and the last load, and the running critical
// processes (vorctl's own reading of /proc, each asked of the module).
#ifndef VOR_TOOLS_VORCTL_SURVEY_H_
#define VOR_TOOLS_VORCTL_SURVEY_H_

#include <cstdint>
#include <string>
#include <vector>

#include "globals.h"
#include "module_facts.h"
#include "vor/session.hpp"

namespace vorctl {

struct CriticalProcess {
  std::uint32_t pid;
  std::string image;
};

struct Survey {
  vor::host::ModuleFacts module;
  CriticalFiles files;          // files.ok false: a failure was printed
  std::size_t present = 0;      // of files.paths, present below the sysroot
  vor::host::ProcessListState list;
  // An entry in force whose flags hold neither path bit: it matches every
  // process in the module's mount namespace.
  bool matchesEveryProcess = false;
  bool processesListed = false;  // false: /proc could not be listed (printed)
  std::vector<CriticalProcess> critical;
  std::uint32_t otherMountNamespace = 0;  // processes in another mount namespace than vorctl's
};

Survey TakeSurvey(vor::host::Session& session, const Globals& globals);

// Says on stderr, once, when the list in force makes every process critical.
void WarnIfEveryProcess(const Survey& survey, const Globals& globals);

}  // namespace vorctl

#endif  // VOR_TOOLS_VORCTL_SURVEY_H_
