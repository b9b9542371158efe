// OS release detection: which Linux distribution and release this host runs,
// read from the release files under /etc through the host's file factory.
#ifndef VOR_OSINFO_RELEASE_PARSER_H_
#define VOR_OSINFO_RELEASE_PARSER_H_

#include <string_view>

#include "osinfo/release_files.h"
#include "runtime/host_providers.h"
#include "runtime/string.h"
#include "runtime/trace.h"
#include "vor/host_services.h"
#include "vor/io.h"
#include "vor/object.h"
#include "vor/ref.h"

namespace vor {

// Tries the release files in order and stops at the first one read whole
// that yields a name and a version. Returns 0, 0x8000004c when no file was
// usable (both outputs empty), 0x80000046 without locator or factory.
zel::result_t FindReleaseInfo(zel::IServiceLocator* locator, zel::ILumoFileFactory* fileFactory,
                              zel::string& name, zel::string& version);

// Parses the content of one release file of `type`. 0x80000046 for type 0 or
// empty content, 0x80000043 for an unknown type, else the format's result.
zel::result_t ParseReleaseFile(zel::IServiceLocator* locator, ReleaseFileType type,
                               std::string_view content, zel::string& name,
                               zel::string& version);

// The per-format rules. Each empties `name` and `version` first and assigns
// them only on success; none throws.
class LinuxReleaseParser {
 public:
  // Takes the allocator and the tracer from `locator`; throws
  // zel::GetInterfaceException when either cannot be had.
  explicit LinuxReleaseParser(zel::IServiceLocator* locator);
  ~LinuxReleaseParser();

  // NAME and VERSION_ID, or a version derived from the distribution's rules.
  zel::result_t ParseOsRelease(std::string_view content, zel::string& name, zel::string& version);
  // DISTRIB_ID and DISTRIB_RELEASE.
  zel::result_t ParseLsbRelease(std::string_view content, zel::string& name, zel::string& version);
  // "<name> release <version> ...". Also reads gentoo-release and
  // redhat-release, which `type` names for the exception trace.
  zel::result_t ParseSystemRelease(std::string_view content, zel::string& name,
                                   zel::string& version,
                                   ReleaseFileType type = ReleaseFileType::kSystemRelease);
  // A product header line, then VERSION and PATCHLEVEL.
  zel::result_t ParseSuseRelease(std::string_view content, zel::string& name, zel::string& version);
  // The whole file is the version of "Debian GNU/Linux".
  zel::result_t ParseDebianVersion(std::string_view content, zel::string& name,
                                   zel::string& version);

 private:
  zel::result_t OsRelease(std::string_view content, zel::string& name, zel::string& version);
  zel::result_t LsbRelease(std::string_view content, zel::string& name, zel::string& version);
  zel::result_t SystemRelease(std::string_view content, zel::string& name, zel::string& version);
  zel::result_t SuseRelease(std::string_view content, zel::string& name, zel::string& version);
  zel::result_t DebianVersion(std::string_view content, zel::string& name, zel::string& version);
  void Found(std::string_view name, std::string_view version, std::string_view file);

  HostProviders host_;
};

}  // namespace vor

#endif  // VOR_OSINFO_RELEASE_PARSER_H_
