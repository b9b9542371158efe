#include "module/tool_facts.h"

#include "filelist/vor_list.h"
#include "osinfo/os_release_info.h"
#include "osinfo/release_parser.h"
#include "proclist/process_info.h"
#include "proclist/process_list_config.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"
#include "runtime/string.h"

namespace vor::facts {
namespace {

// The /proc readers want a tracer; the tool's own reads are not the module's
// decisions, so they write no line. A static object: counting is a no-op.
class SilentTracer final : public zel::ITracer {
 public:
  std::uint32_t AddRef() override { return 1; }
  std::uint32_t Release() override { return 1; }
  zel::result_t QueryInterface(std::uint32_t, void** out) override {
    if (out != nullptr) *out = nullptr;
    return zel::kErrNoInterface;
  }
  zel::result_t BeginRecord(std::uint32_t, zel::TraceRecord*, std::uint32_t) override {
    return zel::kErrTraceLevelProhibited;
  }
};

const zel::Tracer& Silent() {
  static SilentTracer tracer;
  static const zel::Tracer trace(Ref<zel::ITracer>(&tracer), "");
  return trace;
}

// Call in a catch handler; the tool reports the code itself.
zel::result_t CurrentExceptionCode() { return zel::ResultFromCurrentException(zel::Tracer(), ""); }

}  // namespace

OsRelease FindOsRelease(zel::IServiceLocator* locator, zel::ILumoFileFactory* files) {
  OsRelease release;
  try {
    zel::string name;
    zel::string version;
    release.result = FindReleaseInfo(locator, files, name, version);
    release.name.assign(name.view());
    release.version.assign(version.view());
  } catch (...) {
    release.result = CurrentExceptionCode();
  }
  return release;
}

FileSet BuildFileSet(zel::IServiceLocator* locator, zel::IAllocator* allocator,
                     zel::IStorage* storage) {
  FileSet set;
  const auto fail = [&set](const char* step, zel::result_t code) {
    set.failedStep = step;
    set.result = code;
    return set;
  };
  try {
    VorList list(locator);
    // The release only gates features the list does not have; unknown is fine.
    const OsReleaseInfo release;
    zel::result_t code = list.Init(allocator, release);
    if (zel::Failed(code)) return fail("file list init", code);
    code = list.Update(storage);
    if (zel::Failed(code)) return fail("file list update", code);
    code = list.CopySortedPaths(set.paths);
    if (zel::Failed(code)) return fail("file list", code);
    code = list.CopyExistingLibraryDirectories(set.libraryDirectories);
    if (zel::Failed(code)) return fail("library directories", code);
  } catch (...) {  // out of memory, or the locator lacks the allocator or tracer
    return fail("file list", CurrentExceptionCode());
  }
  return set;
}

zel::result_t ReadProcessListDocument(zel::ITracer* tracer, zel::IServiceLocator* locator,
                                      zel::IIo* document, std::vector<ProcessListEntry>& entries) {
  entries.clear();
  try {
    const zel::Tracer trace(Ref<zel::ITracer>(tracer), "vor: ");
    CriticalProcessEntries read;
    const zel::result_t code = ReadProcessList(trace, locator, document, read);
    for (const CriticalProcessEntry& entry : read) {
      entries.push_back({entry.flags, std::string(entry.path.view()),
                         std::string(entry.parentPath.view())});
    }
    return code;
  } catch (...) {
    entries.clear();
    return CurrentExceptionCode();
  }
}

zel::result_t ReadParentPid(std::uint32_t pid, std::uint32_t& ppid) {
  return GetProcessParentPid(Silent(), pid, ppid);
}

zel::result_t ReadImagePath(std::uint32_t pid, std::string& image) {
  image.clear();
  try {
    zel::string path;
    const zel::result_t code = GetProcessImagePath(Silent(), pid, path);
    image.assign(path.view());
    return code;
  } catch (...) {
    return CurrentExceptionCode();
  }
}

}  // namespace vor::facts
