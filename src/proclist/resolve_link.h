// What realpath(3) makes of a symbolic link, taken apart: the link's own text
// (which the kernel marks " (deleted)" for a deleted executable) and the path
// that text resolves to, from one read of the link.
#ifndef VOR_PROCLIST_RESOLVE_LINK_H_
#define VOR_PROCLIST_RESOLVE_LINK_H_

#include <cstddef>
#include <string_view>

namespace vor {

inline constexpr std::size_t kPathBufferSize = 4096;  // PATH_MAX, the terminating zero included

// Resolves `text`, the target of the link at `linkPath`, as realpath(3)
// resolves the link: every symbolic link on the way followed (at most 40),
// "." and ".." taken after the links before them, a relative text taken from
// the link's own folder. On success `resolved` holds the NUL-terminated
// result and 0 is returned; otherwise the errno realpath(3) would give
// (ENOENT, ENOTDIR, EACCES, ELOOP, ENAMETOOLONG, ...).
int ResolveLinkText(std::string_view linkPath, std::string_view text,
                    char (&resolved)[kPathBufferSize]) noexcept;

}  // namespace vor

#endif  // VOR_PROCLIST_RESOLVE_LINK_H_
