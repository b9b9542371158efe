#include "filelist/directory_probe.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>

#include <cstddef>

#include "vor/utf.h"

namespace vor {

bool IsDirectoryOrLinkToDirectory(const char16_t* widePath) {
  if (widePath == nullptr) return false;
  char path[PATH_MAX];
  std::size_t length = 0;
  bool fits = true;
  const bool converted = utf::Utf16ToUtf8(widePath, [&](char c) {
    if (length + 1 < sizeof path) {
      path[length++] = c;
    } else {
      fits = false;
    }
  });
  if (!converted || !fits) return false;
  path[length] = '\0';

  struct stat status;
  if (fstatat(AT_FDCWD, path, &status, AT_SYMLINK_NOFOLLOW) != 0) return false;
  if (S_ISDIR(status.st_mode)) return true;
  if (!S_ISLNK(status.st_mode)) return false;
  return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace vor
