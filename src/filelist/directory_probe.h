// Whether a library directory is present on this machine.
#ifndef VOR_FILELIST_DIRECTORY_PROBE_H_
#define VOR_FILELIST_DIRECTORY_PROBE_H_

#include <functional>

namespace vor {

// Answers whether the directory named by a NUL-terminated UTF-16 path is present.
using DirectoryProbe = std::function<bool(const char16_t* widePath)>;

// True when `widePath` is a directory, or a symbolic link whose target is one.
// Null, unconvertible or overlong paths and any failing status call count as absent.
bool IsDirectoryOrLinkToDirectory(const char16_t* widePath);

}  // namespace vor

#endif  // VOR_FILELIST_DIRECTORY_PROBE_H_
