// The directory entry a path names. A program that opens a path reaches the
// entry the kernel finds: the directory part resolved relative to the working
// directory, every symbolic link and ".." in order, then the final name in
// that directory, never followed (a link named sh is its own entry). The
// module knows each file by the letter of one path; an entry has several
// spellings on a machine whose top-level directories are links (/bin ->
// usr/bin), and these are the pieces the session needs to ask about them.
#ifndef VOR_HOST_FILE_ENTRY_H_
#define VOR_HOST_FILE_ENTRY_H_

#include <string>
#include <string_view>
#include <vector>

#include "vor/result.h"

namespace vor::host {

// The path the module is asked first, and where its entry lies.
struct AskedPath {
  // Absolute, "." components and repeated slashes removed, ".." kept (taken
  // lexically it would disagree with the kernel), a trailing slash only
  // where one was typed.
  std::string_view text;
  // Resolved as a directory to find the entry; empty when there is no entry
  // to find: the path ends in "/" (it names no file) or is empty.
  std::string_view directory;
  // The final name; empty when the entry is `directory` itself: the path
  // ended in "." or "..", which name a directory.
  std::string_view name;
};

// Makes `typed` the path asked first. A clean absolute path is used in
// place; any other is built in `scratch`, a relative one against the
// working directory. Fails only when the working directory cannot be told.
zel::result_t MakeAskedPath(std::string_view typed, std::string& scratch, AskedPath& out);

// The physical path of `directory` (absolute), as the kernel resolves it for
// a program. kOk with `physical` set; kFalse when it leads to no directory
// this process can reach (absent, not a directory, no search permission, a
// link loop, too long, removed); a failure code when the kernel could not be
// asked (no descriptors left, no /proc).
zel::result_t ResolveDirectory(std::string_view directory, std::string& physical);

// A symbolic link in "/" to a directory, with that directory's physical path.
struct DirectoryLink {
  std::string link;    // "/bin"
  std::string target;  // "/usr/bin"
};

// The links to directories that stand in "/", sorted by name. A link to "/"
// itself is left out: every path would be spelt again through it.
zel::result_t ReadTopDirectoryLinks(std::vector<DirectoryLink>& out);

// Calls each(head, tail) for every spelling of the physical directory
// `physical`, itself first, then through each link whose target holds it:
// the spelling is head + tail ("/usr/lib" + "/x86_64-linux-gnu", or "/lib"
// + "/x86_64-linux-gnu").
template <class Each>
void ForEachDirectorySpelling(std::string_view physical, const std::vector<DirectoryLink>& links,
                              Each each) {
  each(physical, std::string_view());
  for (const DirectoryLink& link : links) {
    const std::string_view target = link.target;
    if (physical.substr(0, target.size()) != target) continue;
    const std::string_view rest = physical.substr(target.size());
    if (rest.empty() || rest.front() == '/') each(std::string_view(link.link), rest);
  }
}

}  // namespace vor::host

#endif  // VOR_HOST_FILE_ENTRY_H_
