// The release files of Linux distributions, in the order they are searched.
#ifndef VOR_OSINFO_RELEASE_FILES_H_
#define VOR_OSINFO_RELEASE_FILES_H_

#include <cstdint>
#include <span>
#include <string_view>

namespace vor {

// 0 is invalid; values of 8 and above are unknown.
enum class ReleaseFileType : std::uint8_t {
  kOsRelease = 1,
  kLsbRelease = 2,
  kSystemRelease = 3,
  kSuseRelease = 4,
  kGentooRelease = 5,
  kDebianVersion = 6,
  kRedhatRelease = 7,
};

struct ReleaseFile {
  ReleaseFileType type;
  const char16_t* path;  // absolute, NUL-terminated
};

// The seven files, most informative first; the search stops at the first
// one that yields a name and a version.
std::span<const ReleaseFile> ReleaseFiles();

// The narrow path of `type` for trace lines; "Unknown" outside 1-7.
std::string_view ReleaseFilePath(ReleaseFileType type);

}  // namespace vor

#endif  // VOR_OSINFO_RELEASE_FILES_H_
