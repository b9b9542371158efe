#include "osinfo/release_files.h"

namespace vor {
namespace {

constexpr ReleaseFile kReleaseFiles[] = {
    {ReleaseFileType::kOsRelease, u"/etc/os-release"},
    {ReleaseFileType::kLsbRelease, u"/etc/lsb-release"},
    {ReleaseFileType::kSystemRelease, u"/etc/system-release"},
    {ReleaseFileType::kSuseRelease, u"/etc/SuSE-release"},
    {ReleaseFileType::kGentooRelease, u"/etc/gentoo-release"},
    {ReleaseFileType::kDebianVersion, u"/etc/debian_version"},
    {ReleaseFileType::kRedhatRelease, u"/etc/redhat-release"},
};

}  // namespace

std::span<const ReleaseFile> ReleaseFiles() { return kReleaseFiles; }

std::string_view ReleaseFilePath(ReleaseFileType type) {
  switch (type) {
    case ReleaseFileType::kOsRelease: return "/etc/os-release";
    case ReleaseFileType::kLsbRelease: return "/etc/lsb-release";
    case ReleaseFileType::kSystemRelease: return "/etc/system-release";
    case ReleaseFileType::kSuseRelease: return "/etc/SuSE-release";
    case ReleaseFileType::kGentooRelease: return "/etc/gentoo-release";
    case ReleaseFileType::kDebianVersion: return "/etc/debian_version";
    case ReleaseFileType::kRedhatRelease: return "/etc/redhat-release";
  }
  return "Unknown";
}

}  // namespace vor
