// vorctl's session: the reference host library's session, opened from the
// global options. Every command that asks the module goes through it.
#ifndef VOR_TOOLS_VORCTL_HOST_SESSION_H_
#define VOR_TOOLS_VORCTL_HOST_SESSION_H_

#include <memory>
#include <string>

#include "globals.h"
#include "vor/session.hpp"

namespace vorctl {

// Opens the session (`exact`: files asked as given, not by entry); on
// failure prints "vorctl: ..." and returns null with the exit status in
// `status`.
std::unique_ptr<vor::host::Session> OpenSession(const Globals& globals, int& status,
                                                bool exact = false);

// When the process list in force failed, says so in one line on stderr
// naming vor_proc.xms and returns true: the commands that answer about
// processes then exit kExitFailed after answering.
bool ReportFailedList(const vor::host::Session& session, const Globals& globals);
// The error number of the first trace line that could not be written; 0
// when all were.
int TraceWriteError();
// The vor_proc.xms of the storage.
std::string ListFile(const Globals& globals);

}  // namespace vorctl

#endif  // VOR_TOOLS_VORCTL_HOST_SESSION_H_
