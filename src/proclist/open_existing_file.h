// Opening a file by a path of any length, as the /proc reader needs it.
#ifndef VOR_PROCLIST_OPEN_EXISTING_FILE_H_
#define VOR_PROCLIST_OPEN_EXISTING_FILE_H_

#include <sys/types.h>

#include "vor/result.h"

namespace vor {

// Opens `path` even when it is longer than the system's path limit, by
// walking it directory by directory. `fd` is -1 on failure; the caller
// closes a descriptor it gets.
zel::result_t OpenExistingFile(int& fd, const char* path, int flags, mode_t mode) noexcept;

}  // namespace vor

#endif  // VOR_PROCLIST_OPEN_EXISTING_FILE_H_
