// The OS release record: the distribution's name and version, both empty when
// the release is unknown.
#ifndef VOR_OSINFO_OS_RELEASE_INFO_H_
#define VOR_OSINFO_OS_RELEASE_INFO_H_

#include "runtime/string.h"

namespace vor {

struct OsReleaseInfo {
  zel::string name;
  zel::string version;
};

}  // namespace vor

#endif  // VOR_OSINFO_OS_RELEASE_INFO_H_
