// The search over the release files and the dispatch to the format parsers.
#include <vector>

#include "osinfo/release_parser.h"
#include "runtime/host_access.h"
#include "runtime/host_allocator.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"
#include "runtime/whole_file.h"

namespace vor {

zel::result_t FindReleaseInfo(zel::IServiceLocator* locator, zel::ILumoFileFactory* fileFactory,
                              zel::string& name, zel::string& version) {
  name.clear();
  version.clear();
  if (locator == nullptr || fileFactory == nullptr) return zel::kErrInvalidArgument;
  zel::Tracer trace;
  try {
    trace = zel::Tracer(zel::GetInterface<zel::ITracer>(locator), "rp: ");
    const Ref<zel::IAllocator> allocator = zel::GetInterface<zel::IAllocator>(locator);
    ZEL_TRACE(trace, zel::kTraceInfo) << "Searching for OS release files...";

    // One buffer for every file; each file must arrive whole in one read.
    std::vector<char, zel::HostAllocator<char>> buffer{zel::HostAllocator<char>(allocator.get())};
    for (const ReleaseFile& file : ReleaseFiles()) {
      const std::int64_t got = zel::ReadWholeFile(
          fileFactory, file.path, zel::ILumoFileFactory::kShareReadWrite, /*rewind=*/false,
          [&](std::uint64_t size) -> char* {
            if (size == 0) {
              ZEL_TRACE(trace, zel::kTraceError) << "Config <" << file.path << "> is empty";
              return nullptr;
            }
            buffer.resize(static_cast<std::uint32_t>(size));  // only the low 32 bits count
            return buffer.data();
          },
          [&](zel::ReadStep step, zel::result_t code, std::uint32_t read) {
            switch (step) {
              case zel::ReadStep::kOpen:
                ZEL_TRACE(trace, zel::kTraceInfo) << "Config file <" << file.path << "> is absent";
                break;
              case zel::ReadStep::kSize:
                ZEL_TRACE(trace, zel::kTraceError) << "Can't get size for config <" << file.path
                                                   << "> with error 0x" << zel::Hex{code};
                break;
              case zel::ReadStep::kRead:
              case zel::ReadStep::kSeek:
                ZEL_TRACE(trace, zel::kTraceError) << "Can't read config <" << file.path
                                                   << "> with error 0x" << zel::Hex{code};
                break;
              case zel::ReadStep::kShortRead:
                ZEL_TRACE(trace, zel::kTraceError)
                    << "Config <" << file.path << "> has been read partially (" << read << " of "
                    << buffer.size() << ")";
                break;
            }
          });
      if (got < 0) continue;
      const zel::result_t parsed = ParseReleaseFile(
          locator, file.type, std::string_view(buffer.data(), static_cast<std::size_t>(got)), name, version);
      if (zel::Failed(parsed)) continue;  // its own traces said why
      ZEL_TRACE(trace, zel::kTraceInfo) << "Selected config is <" << file.path << "> ";
      return parsed;
    }
    name.clear();
    version.clear();
    ZEL_TRACE(trace, zel::kTraceError) << "No one of predefined configs weren't found";
    return zel::kErrNotFound;
  } catch (...) {
    name.clear();
    version.clear();
    return zel::ResultFromCurrentException(trace, "Exception caught at line 748 => ");
  }
}

zel::result_t ParseReleaseFile(zel::IServiceLocator* locator, ReleaseFileType type,
                               std::string_view content, zel::string& name,
                               zel::string& version) {
  name.clear();
  version.clear();
  if (static_cast<std::uint8_t>(type) == 0) return zel::kErrInvalidArgument;
  if (locator == nullptr || content.empty()) return zel::kErrInvalidArgument;
  zel::Tracer trace;
  try {
    trace = zel::Tracer(zel::GetInterface<zel::ITracer>(locator), "rp: ");
    // Obtained and not read: without an allocator the parse fails here, before its first line.
    zel::GetInterface<zel::IAllocator>(locator);
    ZEL_TRACE(trace, zel::kTraceInfo)
        << "Parsing OS release file <" << ReleaseFilePath(type) << ">...";

    LinuxReleaseParser parser(locator);
    zel::result_t code = zel::kErrNotImplemented;
    switch (type) {
      case ReleaseFileType::kOsRelease:
        code = parser.ParseOsRelease(content, name, version);
        break;
      case ReleaseFileType::kLsbRelease:
        code = parser.ParseLsbRelease(content, name, version);
        break;
      case ReleaseFileType::kSystemRelease:
      case ReleaseFileType::kGentooRelease:
      case ReleaseFileType::kRedhatRelease:
        code = parser.ParseSystemRelease(content, name, version, type);
        break;
      case ReleaseFileType::kSuseRelease:
        code = parser.ParseSuseRelease(content, name, version);
        break;
      case ReleaseFileType::kDebianVersion:
        code = parser.ParseDebianVersion(content, name, version);
        break;
    }
    if (zel::Failed(code)) {
      ZEL_TRACE(trace, zel::kTraceError) << "Can't parse config with error 0x" << zel::Hex{code};
      return code;
    }
    ZEL_TRACE(trace, zel::kTraceInfo) << "OS release info has been parsed successfully";
    return zel::kOk;
  } catch (...) {
    name.clear();
    version.clear();
    return zel::ResultFromCurrentException(trace, "Exception caught at line 630 => ");
  }
}

}  // namespace vor
