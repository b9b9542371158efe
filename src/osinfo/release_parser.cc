#include "osinfo/release_parser.h"

#include <optional>

#include "osinfo/key_value_config.h"
#include "osinfo/text_split.h"
#include "runtime/host_access.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"

namespace vor {
namespace {

constexpr std::string_view kDebianName = "Debian GNU/Linux";
constexpr std::string_view kSberName = "SberOS GNU/Linux";
constexpr std::string_view kAstraPrefix = "Astra";
constexpr std::string_view kArchName = "Arch Linux";
constexpr std::string_view kLineBlanks = " \t\r\n";

// The value of the first pair named `key`, if any.
std::optional<std::string_view> FirstValue(const KeyValuePairs& pairs, std::string_view key) {
  for (const KeyValuePair& pair : pairs) {
    if (pair.first.view() == key) return pair.second.view();
  }
  return std::nullopt;
}

}  // namespace

LinuxReleaseParser::LinuxReleaseParser(zel::IServiceLocator* locator)
    : host_(locator, "rp: ") {
  ZEL_TRACE(host_.trace, zel::kTraceDebug) << "LinuxReleaseParser " << zel::Ptr{this} << " was created";
}

LinuxReleaseParser::~LinuxReleaseParser() {
  // Deliberately the construction wording: lifetime lines of this class never say "destroyed".
  ZEL_TRACE(host_.trace, zel::kTraceDebug) << "LinuxReleaseParser " << zel::Ptr{this} << " was created";
}

void LinuxReleaseParser::Found(std::string_view name, std::string_view version,
                               std::string_view file) {
  ZEL_TRACE(host_.trace, zel::kTraceInfo) << "OS name <" << name << ">, version <" << version
                                     << "> has been found in " << file;
}

// Each public parser is a boundary: it checks the content, empties the outputs
// and turns an exception into its own site's code.
#define VOR_RELEASE_PARSER_BOUNDARY(call, site)                  \
  if (content.empty()) return zel::kErrInvalidArgument;          \
  name.clear();                                                  \
  version.clear();                                               \
  try {                                                          \
    return call;                                                 \
  } catch (...) {                                                \
    name.clear();                                                \
    version.clear();                                             \
    return zel::ResultFromCurrentException(host_.trace, site);        \
  }

zel::result_t LinuxReleaseParser::ParseOsRelease(std::string_view content, zel::string& name,
                                                 zel::string& version) {
  VOR_RELEASE_PARSER_BOUNDARY(OsRelease(content, name, version),
                              "Exception caught at line 208 => ")
}

zel::result_t LinuxReleaseParser::ParseLsbRelease(std::string_view content, zel::string& name,
                                                  zel::string& version) {
  VOR_RELEASE_PARSER_BOUNDARY(LsbRelease(content, name, version),
                              "Exception caught at line 286 => ")
}

zel::result_t LinuxReleaseParser::ParseSystemRelease(std::string_view content, zel::string& name,
                                                     zel::string& version,
                                                     ReleaseFileType type) {
  const std::string_view site = type == ReleaseFileType::kGentooRelease
                                    ? "Exception caught at line 489 => "
                                : type == ReleaseFileType::kRedhatRelease
                                    ? "Exception caught at line 549 => "
                                    : "Exception caught at line 362 => ";
  VOR_RELEASE_PARSER_BOUNDARY(SystemRelease(content, name, version), site)
}

zel::result_t LinuxReleaseParser::ParseSuseRelease(std::string_view content, zel::string& name,
                                                   zel::string& version) {
  VOR_RELEASE_PARSER_BOUNDARY(SuseRelease(content, name, version),
                              "Exception caught at line 473 => ")
}

zel::result_t LinuxReleaseParser::ParseDebianVersion(std::string_view content, zel::string& name,
                                                     zel::string& version) {
  VOR_RELEASE_PARSER_BOUNDARY(DebianVersion(content, name, version),
                              "Exception caught at line 533 => ")
}

#undef VOR_RELEASE_PARSER_BOUNDARY

zel::result_t LinuxReleaseParser::OsRelease(std::string_view content, zel::string& name,
                                            zel::string& version) {
  LinuxKeyValueConfig config(host_.locator.get());
  KeyValuePairs pairs{zel::HostAllocator<KeyValuePair>(host_.allocator.get())};
  const zel::result_t parsed = config.Parse(content, pairs);
  if (zel::Failed(parsed)) {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "Can't parse os-release with error 0x" << zel::Hex{parsed};
    return parsed;
  }

  struct Key {
    std::string_view key;
    const char* emptyTrace;
    std::optional<std::string_view> value;
  };
  Key keys[] = {
      {"NAME", "OS name has empty value", {}},
      {"VERSION_ID", "OS version has empty value", {}},
      {"RELEASE", "OS release version has empty value", {}},
      {"VERSION_CODENAME", "OS version codename has empty value", {}},
      {"PRETTY_NAME", "OS pretty name has empty value", {}},
  };
  for (const KeyValuePair& pair : pairs) {
    for (Key& key : keys) {
      if (key.value || pair.first.view() != key.key) continue;
      key.value = pair.second.view();
      if (key.value->empty()) {  // the reader never yields one; kept as a guard
        ZEL_TRACE(host_.trace, zel::kTraceError) << key.emptyTrace;
        return zel::kErrUnexpected;
      }
    }
  }
  const auto& [osName, versionId, release, codename, prettyName] = keys;

  if (!osName.value) {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "Can't find OS name in given os-release";
    return zel::kErrNotFound;
  }
  const std::string_view nameValue = *osName.value;
  std::string_view versionValue;
  if (versionId.value) {
    versionValue = *versionId.value;
  } else if (EqualsIgnoreAsciiCase(nameValue, kDebianName) && prettyName.value &&
             StartsWithIgnoreAsciiCase(*prettyName.value, kDebianName)) {
    // "Debian GNU/Linux trixie/sid": the rest of the pretty name, which may be empty.
    versionValue = TrimSet(prettyName.value->substr(kDebianName.size()), " ");
  } else if (EqualsIgnoreAsciiCase(nameValue, kSberName) && codename.value) {
    versionValue = *codename.value;
  } else if (release.value && StartsWithIgnoreAsciiCase(nameValue, kAstraPrefix)) {
    versionValue = *release.value;
  } else if (EqualsIgnoreAsciiCase(nameValue, kArchName)) {
    versionValue = "rolling";
  } else {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "Can't find OS version in given os-release";
    return zel::kErrNotFound;
  }
  name.assign(nameValue);
  version.assign(versionValue);
  Found(nameValue, versionValue, "os-release");
  return zel::kOk;
}

zel::result_t LinuxReleaseParser::LsbRelease(std::string_view content, zel::string& name,
                                             zel::string& version) {
  LinuxKeyValueConfig config(host_.locator.get());
  KeyValuePairs pairs{zel::HostAllocator<KeyValuePair>(host_.allocator.get())};
  const zel::result_t parsed = config.Parse(content, pairs);
  if (zel::Failed(parsed)) {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "Can't parse lsb-release with error 0x" << zel::Hex{parsed};
    return parsed;
  }
  const std::optional<std::string_view> id = FirstValue(pairs, "DISTRIB_ID");
  const std::optional<std::string_view> release = FirstValue(pairs, "DISTRIB_RELEASE");
  if (id && id->empty()) {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "OS name has empty value";
    return zel::kErrUnexpected;
  }
  if (release && release->empty()) {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "OS version has empty value";
    return zel::kErrUnexpected;
  }
  if (!id) {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "Can't find OS name in given lsb-release";
    return zel::kErrNotFound;
  }
  if (!release) {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "Can't find OS version in given lsb-release";
    return zel::kErrNotFound;
  }
  name.assign(*id);
  version.assign(*release);
  Found(*id, *release, "lsb-release");
  return zel::kOk;
}

zel::result_t LinuxReleaseParser::SystemRelease(std::string_view content, zel::string& name,
                                                zel::string& version) {
  constexpr std::string_view kPattern = " release ";
  const std::size_t at = content.find(kPattern);
  if (content.size() < kPattern.size() || at == std::string_view::npos) {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "Unknown format of system-release <" << content << ">";
    return zel::kErrUnexpected;
  }
  const std::string_view nameValue = TrimSet(content.substr(0, at), kLineBlanks);
  std::string_view versionValue = TrimSet(content.substr(at + kPattern.size()), kLineBlanks);
  // The two cases give different codes on purpose.
  if (nameValue.empty()) {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "Can't find OS name in given system-release";
    return zel::kErrNotFound;
  }
  if (versionValue.empty()) {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "Can't find OS version in given system-release";
    return zel::kErrUnexpected;
  }
  // "7.9.2009 (Core)" gives "7.9.2009".
  versionValue = versionValue.substr(0, versionValue.find_first_of(kLineBlanks));
  name.assign(nameValue);
  version.assign(versionValue);
  Found(nameValue, versionValue, "system-release");
  return zel::kOk;
}

zel::result_t LinuxReleaseParser::SuseRelease(std::string_view content, zel::string& name,
                                              zel::string& version) {
  const std::size_t headerEnd = content.find('\n');
  if (headerEnd == std::string_view::npos) return zel::kErrNotFound;
  const std::string_view header = content.substr(0, headerEnd);
  const std::string_view rest = content.substr(headerEnd);
  if (rest.empty()) return zel::kErrNotFound;

  LinuxKeyValueConfig config(host_.locator.get());
  KeyValuePairs pairs{zel::HostAllocator<KeyValuePair>(host_.allocator.get())};
  const zel::result_t parsed = config.Parse(rest, pairs);
  if (zel::Failed(parsed)) {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "Can't parse SuSE-release with error 0x" << zel::Hex{parsed};
    return parsed;
  }
  const std::optional<std::string_view> versionValue = FirstValue(pairs, "VERSION");
  if (versionValue && versionValue->empty()) {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "OS version has empty value";
    return zel::kErrUnexpected;
  }
  if (!versionValue) {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "Can't find OS version in given SuSE-release";
    return zel::kErrNotFound;
  }
  const std::optional<std::string_view> patchLevel = FirstValue(pairs, "PATCHLEVEL");
  if (patchLevel && patchLevel->empty()) {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "OS patchlevel has empty value";
    return zel::kErrUnexpected;
  }
  // The header ends where any character of the version first occurs:
  // "SUSE Linux Enterprise Server 12 (x86_64)" with VERSION 12.
  const std::size_t nameEnd = header.find_first_of(*versionValue);
  if (nameEnd == std::string_view::npos) return zel::kErrNotFound;
  const std::string_view nameValue = TrimSet(header.substr(0, nameEnd), " ");

  name.assign(nameValue);
  version.assign(*versionValue);
  if (patchLevel) {
    version += '.';
    version += *patchLevel;
  }
  Found(name.view(), version.view(), "SuSE-release");
  return zel::kOk;
}

zel::result_t LinuxReleaseParser::DebianVersion(std::string_view content, zel::string& name,
                                                zel::string& version) {
  const std::string_view versionValue = TrimSet(content, kLineBlanks);
  if (versionValue.empty()) {
    ZEL_TRACE(host_.trace, zel::kTraceError) << "Can't find OS version in given debian_version";
    return zel::kErrUnexpected;
  }
  name.assign(kDebianName);
  version.assign(versionValue);
  // "debain" is the word this trace has always carried.
  Found(kDebianName, versionValue, "debain_version");
  return zel::kOk;
}

}  // namespace vor
