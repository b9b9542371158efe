// Paths as the user typed them, turned into the path a host would ask about:
// absolute, with ".", ".." and repeated slashes resolved lexically. No link is
// followed: the module decides on the path itself, not on what it points to.
#ifndef VOR_TOOLS_VORCTL_PATHS_H_
#define VOR_TOOLS_VORCTL_PATHS_H_

#include <string>
#include <string_view>

namespace vorctl {

// Writes into `out` (reused, so that bulk checks do not allocate per path)
// `typed` made absolute against `cwd` (itself absolute and normal). A path
// that names a directory ("dir/", "dir/.", "dir/..") keeps a trailing slash;
// an empty path stays empty.
void AbsolutePath(std::string_view typed, std::string_view cwd, std::string& out);

}  // namespace vorctl

#endif  // VOR_TOOLS_VORCTL_PATHS_H_
