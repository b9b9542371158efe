#include "module/tool_facts.h"

#include "filelist/vor_list.h"
#include "osinfo/os_release_info.h"
#include "proclist/host_questions.h"
#include "proclist/process_info.h"
#include "proclist/process_list_config.h"
#include "runtime/errno_result.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"
#include "runtime/string.h"

namespace vor::facts {
namespace {

// Not counted: these objects outlive every reference taken on them.
template <class Interface>
class Static : public Interface {
 public:
  std::uint32_t AddRef() override { return 1; }
  std::uint32_t Release() override { return 1; }
  zel::result_t QueryInterface(std::uint32_t, void** out) override {
    if (out != nullptr) *out = nullptr;
    return zel::kErrNoInterface;
  }

 protected:
  ~Static() = default;
};

// The /proc readers want a tracer; the tool's own reads are not the module's
// decisions, so they write no line.
class SilentTracer final : public Static<zel::ITracer> {
 public:
  zel::result_t BeginRecord(std::uint32_t, zel::TraceRecord*, std::uint32_t) override {
    return zel::kErrTraceLevelProhibited;
  }
};

const zel::Tracer& Silent() {
  static SilentTracer tracer;
  static const zel::Tracer trace(Ref<zel::ITracer>(&tracer), "");
  return trace;
}

// Hands the silent tracer for the host's, and records which feature flags
// and environment texts the module's code asks about (answering "not set");
// anything else comes from `inner` when there is one.
class QuietLocator final : public Static<zel::IServiceLocator> {
 public:
  explicit QuietLocator(zel::IServiceLocator* inner) : inner_(inner) {}
  zel::result_t GetInterface(std::uint32_t iid, std::uint32_t serviceId, void** out) override {
    if (out == nullptr) return zel::kErrInvalidArgument;
    *out = nullptr;
    if (iid == zel::ITracer::kIid) *out = static_cast<zel::ITracer*>(&silent_);
    if (iid == zel::IFeatureFlags::kIid) *out = static_cast<zel::IFeatureFlags*>(&flags_);
    if (iid == zel::IEnvironment::kIid) *out = static_cast<zel::IEnvironment*>(&environment_);
    if (*out != nullptr) return zel::kOk;
    return inner_ ? inner_->GetInterface(iid, serviceId, out) : zel::kErrNoInterface;
  }
  HostSettings settings;

 private:
  struct Flags final : Static<zel::IFeatureFlags> {
    explicit Flags(HostSettings& s) : settings(s) {}
    zel::result_t GetFlag(const char* name, zel::IStringOut*) override {
      if (name != nullptr) settings.flags.emplace_back(name);
      return zel::kErrNotFound;
    }
    HostSettings& settings;
  };
  struct Environment final : Static<zel::IEnvironment> {
    explicit Environment(HostSettings& s) : settings(s) {}
    zel::result_t ExpandStrings(const char16_t* text, zel::IWideStringOut*) override {
      // Each %NAME% of the text is a name the module wants expanded.
      std::string narrow;
      for (; text != nullptr && *text != 0; ++text) narrow.push_back(static_cast<char>(*text));
      for (std::size_t at = narrow.find('%'); at != std::string::npos;) {
        const std::size_t end = narrow.find('%', at + 1);
        if (end == std::string::npos) break;
        settings.environment.push_back(narrow.substr(at + 1, end - at - 1));
        at = narrow.find('%', end + 1);
      }
      return zel::kErrNotFound;
    }
    HostSettings& settings;
  };
  zel::IServiceLocator* inner_;
  SilentTracer silent_;
  Flags flags_{settings};
  Environment environment_{settings};
};

// Call in a catch handler; the tool reports the code itself.
zel::result_t CurrentExceptionCode() { return zel::ResultFromCurrentException(zel::Tracer(), ""); }

}  // namespace

FileSet BuildFileSet(zel::IServiceLocator* locator, zel::IAllocator* allocator,
                     zel::IStorage* storage) {
  FileSet set;
  const auto fail = [&set](const char* step, zel::result_t code) {
    set.failedStep = step;
    set.result = code;
    return set;
  };
  try {
    QuietLocator quiet(locator);
    VorList list(&quiet);
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

HostSettings SettingsRead() {
  QuietLocator recorder(nullptr);
  try {
    IsNamespacesWorkaroundDisabled(Silent(), &recorder);
    IsProductMOBRL(Silent(), &recorder);
  } catch (...) {  // out of memory: fewer names to tell
  }
  return recorder.settings;
}

zel::result_t ResultFromErrno(int error) { return zel::ErrnoToResult(error); }

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
