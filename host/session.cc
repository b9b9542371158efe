#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <shared_mutex>
#include <new>
#include <memory_resource>
#include <optional>
#include <string>

#include "host/directory_storage.h"
#include "host/environment.h"
#include "host/feature_flags.h"
#include "host/file_entries.h"
#include "host/lumo_file_factory.h"
#include "host/malloc_allocator.h"
#include "host/module_trust.h"
#include "host/posix_file.h"
#include "host/process_pin.h"
#include "host/service_locator.h"
#include "host/session_tracer.h"
#include "host/host_failures.h"
#include "host/wide_path.h"
#include "host/startup_facts.h"
#include "host/xml_factory.h"
#include "vor/corvane.h"
#include "vor/module.h"
#include "vor/session.hpp"
#include "vor/utf.h"

namespace vor::host {
namespace {

using app_core::service_manager::IObjectState;
using app_core::service_manager::IStorageObjectState;

// The checks want a non-null opaque context of the caller's.
int check_context;

constexpr char kLinksUnread[] = "cannot read the links to directories in /";

// Why a load of the process list failed, in words.
std::string ListLoadError(const ListLoad& load, const std::string& storageDir) {
  std::string text = storageDir.empty() ? std::string("cannot load the process list")
                                        : "cannot load '" + storageDir + "/vor_proc.xms'";
  text += ": ";
  text += zel::ResultCodeText(load.result);
  if (load.syntax.line != 0) {
    text += " (line " + std::to_string(load.syntax.line) + ", column " +
            std::to_string(load.syntax.column) + ": " + load.syntax.description + ")";
  }
  return text;
}

// The loaded libvor.so. It is unloaded only when it says that none of its
// objects is alive; otherwise unloading would pull code from under them.
struct Module {
  ~Module() {
    if (library.loaded() && canUnload != nullptr && canUnload() == VOR_OK) library.Unload();
  }

  TrustedModule library;
  zelGetObjectFactoryFn getFactory = nullptr;
  zelCanUnloadModuleFn canUnload = nullptr;
  std::string version;
};

// One service instance; it keeps its module loaded for as long as it lives.
struct Instance {
  std::shared_ptr<Module> module;
  Ref<ICorvane2> service;  // released before the module goes
  StartupFacts facts;      // what the module said while it started
  ListLoad load;           // how its load of the process list went
};

// The instance in force: checks copy it out while a reload may swap it.
class InstanceSlot {
 public:
  std::shared_ptr<Instance> load() const {
    std::shared_lock<std::shared_mutex> hold(mutex_);
    return instance_;
  }
  void store(std::shared_ptr<Instance> instance) {
    std::unique_lock<std::shared_mutex> hold(mutex_);
    instance_.swap(instance);
  }  // the instance swapped out is released here, outside the lock

 private:
  mutable std::shared_mutex mutex_;
  std::shared_ptr<Instance> instance_;
};

}  // namespace

struct Session::Impl {
  // Creates and verifies a service instance, reading what the module says of
  // itself as it starts, and judges its load of the process list.
  zel::result_t NewInstance(std::shared_ptr<Instance>& out, std::string& error);
  // Asks about the entry `path` names: the path as given first, then the
  // entry's other spellings while none is critical. `asked` and `as` (when
  // given) receive the path asked first and the spelling that decided.
  Answer CheckEntry(std::string_view path, std::string* asked, std::string* as,
                    std::vector<std::string>* explain);
  // Whether files are asked by entry: not when exact, nor under a root.
  bool ByEntry() const { return !exact && !confined; }
  // The path asked first: by entry, and under a root for an absolute path,
  // made absolute and clean (in `scratch` when it must be rebuilt); exact, as
  // given (a relative one under a root names nothing there).
  zel::result_t Shape(std::string_view path, std::string& scratch, AskedPath& out) const {
    out = {path, {}, {}};
    const bool clean = ByEntry() || (confined && !exact && !path.empty() && path.front() == '/');
    return clean ? MakeAskedPath(path, scratch, out) : VOR_OK;
  }

  std::string modulePath;
  Ref<MallocAllocator> allocator = MakeHostObject<MallocAllocator>();
  Ref<SessionTracer> tracer;
  Ref<ServiceLocator> locator = MakeHostObject<ServiceLocator>();
  Ref<LumoFileFactory> files;
  Ref<DirectoryStorage> storage;
  Ref<XmlFactory> xml = MakeHostObject<XmlFactory>();
  Ref<FeatureFlags> flags = MakeHostObject<FeatureFlags>();
  Ref<Environment> environment = MakeHostObject<Environment>();
  std::shared_ptr<Module> module;
  std::string storageDir;
  bool exact = false;
  bool confined = false;  // a root other than "/"
  FileEntries fileEntries;

  InstanceSlot current;
  mutable std::mutex loadMutex;  // guards lastLoad; Reload holds reloadMutex too
  ListLoad lastLoad;
  std::mutex reloadMutex;
};

zel::result_t Session::Impl::NewInstance(std::shared_ptr<Instance>& out, std::string& error) {
  auto instance = std::make_shared<Instance>();
  instance->module = module;
  Ref<zel::IObjectFactory> factory;
  zel::result_t code = module->getFactory(locator.get(), kCorvaneClassId, factory.put());
  if (zel::Failed(code)) {
    error = "cannot get the class factory";
    return code;
  }
  code = factory->CreateInstance(locator.get(), ICorvane2::kIid, instance->service.put_void());
  if (zel::Failed(code)) {
    error = "cannot create the service";
    return code;
  }
  Ref<IStorageObjectState> storageState;
  Ref<IObjectState> state;
  code = instance->service->QueryInterface(IStorageObjectState::kIid, storageState.put_void());
  if (zel::Succeeded(code)) code = instance->service->QueryInterface(IObjectState::kIid, state.put_void());
  if (zel::Failed(code)) {
    error = "the service lacks its state interfaces";
    return code;
  }
  code = storageState->SetStorage(storage.get());
  if (zel::Failed(code)) {
    error = "cannot hand the storage to the service";
    return code;
  }
  const HostFailureWatch watch;
  {
    SessionTracer::Collect collect(*tracer.get(), VOR_TRACE_INFO, instance->facts);
    code = state->Init();
    if (zel::Succeeded(code)) code = state->Verify();
  }
  if (zel::Failed(code)) {
    error = "cannot initialise the service";
    return code;
  }
  // The module's own word on the list, unless the host failed it meanwhile:
  // then entries may be missing that the module never saw.
  const StartupFacts& facts = instance->facts;
  ListLoad& load = instance->load;
  const zel::result_t failure = facts.listFailure();
  if (zel::Failed(failure) && failure != VOR_E_FILE_NOT_FOUND) {
    load.result = failure;
    if (failure == XmlFactory::kParseError) {
      const XmlParseError parse = xml->last_parse_error();
      load.syntax = {parse.line, parse.column, parse.description};
    }
  } else if (watch.failures() != 0) {
    load.result = watch.first();
  } else if (!facts.listTaken() && failure != VOR_E_FILE_NOT_FOUND) {
    load.result = VOR_E_UNEXPECTED;  // the module said neither: nothing can be vouched for
  }
  out = std::move(instance);
  return VOR_OK;
}

Session::Session(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

Session::~Session() = default;

zel::result_t Session::Open(const SessionOptions& options, std::unique_ptr<Session>& out,
                            std::string* error) {
  out.reset();
  std::string why;
  const auto fail = [&](zel::result_t code, std::string text) {
    if (error != nullptr) *error = std::move(text);
    return code;
  };
  try {
    auto impl = std::make_unique<Impl>();
    impl->tracer = MakeHostObject<SessionTracer>(options.traceLevel, options.trace);
    zel::result_t code = VOR_OK;
    const std::string root = options.root.empty() ? "/" : options.root;
    impl->files = LumoFileFactory::Create(root, &code);
    if (!impl->files) return fail(code, "cannot open root '" + root + "'");
    impl->exact = options.exact;
    impl->confined = root != "/";
    if (impl->ByEntry() && zel::Failed(code = impl->fileEntries.Refresh())) {
      return fail(code, kLinksUnread);
    }
    impl->storageDir = options.storageDir;
    impl->storage = MakeHostObject<DirectoryStorage>(options.storageDir);
    if (!impl->storage->ok()) {
      return fail(VOR_E_PATH_NOT_FOUND, "cannot open storage directory '" + options.storageDir +
                                            "': " + std::strerror(impl->storage->open_error()));
    }
    for (const auto& [name, value] : options.flags) impl->flags->Set(name, value);
    for (const auto& [name, value] : options.environment) {
      if (!impl->environment->Set(name, value)) {
        return fail(VOR_E_INVALID_ARGUMENT, "environment value '" + name + "' is not UTF-8");
      }
    }
    ServiceLocator& locator = *impl->locator.get();
    locator.Register(zel::IAllocator::kIid, 0, impl->allocator.get());
    locator.Register(zel::ITracer::kIid, 0, impl->tracer.get());
    locator.Register(zel::ILumoFileFactory::kIid, zel::ILumoFileFactory::kServiceId,
                     impl->files.get());
    locator.Register(zel::IXmlFactory::kIid, 0, impl->xml.get());
    locator.Register(zel::IFeatureFlags::kIid, 0, impl->flags.get());
    locator.Register(zel::IEnvironment::kIid, 0, impl->environment.get());

    impl->modulePath = options.modulePath.empty() ? DefaultModulePath() : options.modulePath;
    if (impl->modulePath.empty()) {
      return fail(VOR_E_MODULE_NOT_FOUND, "cannot find the installed libvor.so; name the module");
    }
    auto module = std::make_shared<Module>();
    code = module->library.Load(impl->modulePath, why);
    if (zel::Failed(code)) return fail(code, why);
    module->getFactory =
        reinterpret_cast<zelGetObjectFactoryFn>(module->library.Symbol("zelGetObjectFactory"));
    module->canUnload =
        reinterpret_cast<zelCanUnloadModuleFn>(module->library.Symbol("zelCanUnloadModule"));
    const auto* version =
        static_cast<const ModuleVersionRecord*>(module->library.Symbol("zelModuleVersion"));
    if (module->getFactory == nullptr || module->canUnload == nullptr || version == nullptr) {
      module->library.Unload();
      return fail(VOR_E_SYMBOL_NOT_FOUND,
                  "'" + impl->modulePath + "' is not a libvor module: its exports are missing");
    }
    char text[24];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", version->version[0], version->version[1],
                  version->version[2], version->version[3]);
    module->version = text;
    impl->module = std::move(module);

    std::shared_ptr<Instance> instance;
    code = impl->NewInstance(instance, why);
    if (zel::Failed(code)) return fail(code, why);
    impl->lastLoad = instance->load;
    impl->current.store(std::move(instance));
    out.reset(new Session(std::move(impl)));
    return VOR_OK;
  } catch (const std::bad_alloc&) {
    return fail(VOR_E_OUT_OF_MEMORY, "out of memory");
  } catch (...) {
    return fail(VOR_E_UNKNOWN_EXCEPTION, "unexpected failure");
  }
}

namespace {

// The code of the exception being handled: out of memory, or anything else,
// which is not out of memory. Call only inside a catch block.
zel::result_t CurrentExceptionCode() noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return VOR_E_OUT_OF_MEMORY;
  } catch (...) {
    return VOR_E_UNKNOWN_EXCEPTION;
  }
}

// Asks `check` of the instance in force; the module's lines of this one call
// are collected only when the caller wants them, so plain checks pay nothing.
template <class Check>
Answer Ask(const std::shared_ptr<Instance>& instance, SessionTracer& tracer,
           std::vector<std::string>* explain, Check check) {
  Answer answer;
  std::optional<LineList> lines;
  std::optional<SessionTracer::Collect> collect;
  if (explain != nullptr) collect.emplace(tracer, VOR_TRACE_INFO, lines.emplace(*explain));
  answer.result = check(*instance->service.get(), answer.critical);
  if (zel::Failed(answer.result)) answer.critical = false;
  return answer;
}

// Asks about the process `pidfd` holds; the answer stands only when that
// process is still running once the module has answered, so the pid cannot
// have passed to another process in between.
Answer AskPinned(const std::shared_ptr<Instance>& instance, SessionTracer& tracer,
                 std::vector<std::string>* explain, int pidfd, std::uint32_t pid) {
  Answer answer = Ask(instance, tracer, explain, [pid](ICorvane2& service, bool& critical) {
    return service.CheckCriticalProcess(&check_context, pid, &critical);
  });
  if (zel::Failed(answer.result)) return answer;
  const zel::result_t running = StillRunning(pidfd);
  if (zel::Failed(running)) answer = {running, false};
  return answer;
}

}  // namespace

namespace {

// The spelling FileEntries::AppendOtherSpellings wrote at `at` (NUL-
// terminated), and `at` moved past it.
template <class U16String>
std::u16string_view CountedSpelling(const U16String& spellings, std::size_t& at) {
  const std::size_t size = spellings[at] | static_cast<std::size_t>(spellings[at + 1]) << 16;
  const std::u16string_view spelling(spellings.data() + at + 2, size);
  at += size + 3;
  return spelling;
}

Answer AskFile(const std::shared_ptr<Instance>& instance, SessionTracer& tracer,
               std::vector<std::string>* explain, const char16_t* path) {
  return Ask(instance, tracer, explain, [path](ICorvane2& service, bool& critical) {
    return service.CheckCriticalFile(&check_context, path, &critical);
  });
}

}  // namespace

Answer Session::Impl::CheckEntry(std::string_view path, std::string* asked, std::string* as,
                                 std::vector<std::string>* explain) {
  if (as != nullptr) as->clear();
  // Checks come by the million: the UTF-16 text of the path and of its
  // entry's spellings lives on the stack, spilling to the heap only when long.
  char16_t stack[2048];
  std::pmr::monotonic_buffer_resource arena(stack, sizeof stack);
  std::pmr::u16string wide(&arena);
  AskedPath shape;
  std::string scratch;  // only for paths that are not clean and absolute
  const zel::result_t shaped = Shape(path, scratch, shape);
  if (zel::Failed(shaped)) return {shaped, false};
  if (asked != nullptr) asked->assign(shape.text);
  if (!AppendWide(shape.text, wide)) return {VOR_E_INVALID_SYMBOL, false};
  const std::shared_ptr<Instance> instance = current.load();
  const Answer answer = AskFile(instance, *tracer.get(), explain, wide.c_str());
  if (zel::Failed(answer.result) || answer.critical || !ByEntry()) return answer;

  wide.push_back(u'\0');
  const std::size_t first = wide.size();
  std::size_t count = 0;
  const zel::result_t code = fileEntries.AppendOtherSpellings(shape, wide, count);
  if (zel::Failed(code)) return {code, false};
  std::vector<std::string> lines;
  for (std::size_t at = first; count > 0; --count) {
    const std::u16string_view spelling = CountedSpelling(wide, at);
    lines.clear();
    const Answer other = AskFile(instance, *tracer.get(), explain ? &lines : nullptr, spelling.data());
    if (zel::Failed(other.result)) return other;
    if (!other.critical) continue;
    if (as != nullptr) utf::Utf16ToUtf8(spelling, [as](char c) { as->push_back(c); });
    if (explain != nullptr) *explain = std::move(lines);
    return other;
  }
  return answer;
}

Answer Session::CheckFile(std::string_view utf8Path, std::vector<std::string>* explain) {
  try {
    return impl_->CheckEntry(utf8Path, nullptr, nullptr, explain);
  } catch (...) {
    return {CurrentExceptionCode(), false};
  }
}

void Session::CheckFileEntry(std::string_view utf8Path, FileAnswer& out,
                             std::vector<std::string>* explain) {
  try {
    const Answer answer = impl_->CheckEntry(utf8Path, &out.asked, &out.as, explain);
    out.result = answer.result;
    out.critical = answer.critical;
  } catch (...) {
    out.result = CurrentExceptionCode();
    out.critical = false;
  }
  if (!out.critical) out.as.clear();
}

FileAnswer Session::CheckFileEntry(std::string_view utf8Path, std::vector<std::string>* explain) {
  FileAnswer answer;
  CheckFileEntry(utf8Path, answer, explain);
  return answer;
}

zel::result_t Session::EntrySpellings(std::string_view utf8Path, std::vector<std::string>& out) {
  out.clear();
  try {
    AskedPath shape;
    std::string scratch;
    zel::result_t code = impl_->Shape(utf8Path, scratch, shape);
    if (zel::Failed(code)) return code;
    std::pmr::u16string wide;
    std::size_t count = 0;
    if (impl_->ByEntry()) code = impl_->fileEntries.AppendOtherSpellings(shape, wide, count);
    if (zel::Failed(code)) return code;
    out.emplace_back(shape.text);
    for (std::size_t at = 0; count > 0; --count) {
      std::string& spelling = out.emplace_back();
      utf::Utf16ToUtf8(CountedSpelling(wide, at), [&spelling](char c) { spelling.push_back(c); });
    }
    return VOR_OK;
  } catch (...) {
    return CurrentExceptionCode();
  }
}

Answer Session::CheckPid(std::uint32_t pid, std::vector<std::string>* explain) {
  try {
    const PidPin pin(pid);
    if (pin.fd() >= 0) {
      return AskPinned(impl_->current.load(), *impl_->tracer.get(), explain, pin.fd(), pid);
    }
    Answer answer = Ask(impl_->current.load(), *impl_->tracer.get(), explain,
                        [pid](ICorvane2& service, bool& critical) {
                          return service.CheckCriticalProcess(&check_context, pid, &critical);
                        });
    // No such process when the question began: whatever answered was not it.
    // A thread that leads no thread group cannot be pinned and is asked as it is.
    if (pin.error() == ESRCH && zel::Succeeded(answer.result)) answer = {VOR_E_FILE_NOT_FOUND, false};
    return answer;
  } catch (...) {
    return {CurrentExceptionCode(), false};
  }
}

Answer Session::CheckPidfd(int pidfd, std::vector<std::string>* explain) {
  try {
    std::uint32_t pid = 0;
    const zel::result_t code = PidOfPidfd(pidfd, pid);
    if (zel::Failed(code)) return {code, false};
    return AskPinned(impl_->current.load(), *impl_->tracer.get(), explain, pidfd, pid);
  } catch (...) {
    return {CurrentExceptionCode(), false};
  }
}

zel::result_t Session::Reload() {
  std::string error;
  return Reload(error);
}

zel::result_t Session::Reload(std::string& error) {
  try {
    std::lock_guard<std::mutex> hold(impl_->reloadMutex);
    if (impl_->ByEntry()) {
      const zel::result_t refreshed = impl_->fileEntries.Refresh();
      if (zel::Failed(refreshed)) {
        error = kLinksUnread;
        return refreshed;
      }
    }
    std::shared_ptr<Instance> instance;
    zel::result_t code = impl_->NewInstance(instance, error);
    // A failed load keeps the instance in force, and the list with it.
    const bool created = zel::Succeeded(code);
    ListLoad load = created ? instance->load : ListLoad{code, {}};
    code = load.result;
    if (zel::Succeeded(code)) impl_->current.store(std::move(instance));
    if (created && zel::Failed(code)) error = ListLoadError(load, impl_->storageDir);
    std::lock_guard<std::mutex> loadHold(impl_->loadMutex);
    impl_->lastLoad = std::move(load);
    return code;
  } catch (...) {
    const zel::result_t code = CurrentExceptionCode();
    try {
      error = code == VOR_E_OUT_OF_MEMORY ? "out of memory" : "unexpected failure";
      std::lock_guard<std::mutex> loadHold(impl_->loadMutex);
      impl_->lastLoad = {code, {}};
    } catch (...) {
    }
    return code;
  }
}

ProcessListState Session::processListState() const {
  const std::shared_ptr<Instance> instance = impl_->current.load();
  ProcessListState state;
  if (instance->facts.listTaken()) {
    state.inForce = VOR_LIST_LOADED;
    state.entries = instance->facts.listEntries();
  }
  std::lock_guard<std::mutex> hold(impl_->loadMutex);
  state.lastLoad = impl_->lastLoad;
  return state;
}

ListStatus Session::processList() const {
  const ProcessListState state = processListState();
  ListStatus status;
  if (zel::Failed(state.lastLoad.result)) {
    status.state = VOR_LIST_FAILED;
    status.result = state.lastLoad.result;
    status.syntax = state.lastLoad.syntax;
  } else {
    status.state = state.inForce;
    status.entries = state.entries;
  }
  return status;
}

ModuleFacts Session::moduleFacts() const {
  const std::shared_ptr<Instance> instance = impl_->current.load();
  const StartupFacts& facts = instance->facts;
  return {facts.releaseResult(), std::string(facts.releaseName()),
          std::string(facts.releaseVersion()), facts.libraryDirectories(), facts.errors()};
}

std::vector<std::string> Session::startupLines() const {
  return impl_->current.load()->facts.keptLines();
}

XmlSyntaxError Session::lastXmlSyntaxError() const {
  const XmlParseError parse = impl_->xml->last_parse_error();
  return {parse.line, parse.column, parse.description};
}

const std::string& Session::modulePath() const { return impl_->modulePath; }

const std::string& Session::moduleVersion() const { return impl_->module->version; }

zel::IServiceLocator* Session::locator() const { return impl_->locator.get(); }

zel::IStorage* Session::storage() const { return impl_->storage.get(); }

zel::result_t OpenLocalFile(const std::string& path, Ref<zel::IIo>& out, std::string& error) {
  out.reset();
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) {
    const int number = errno;
    error = std::strerror(number);
    return number == ENOENT ? VOR_E_FILE_NOT_FOUND : VOR_E_ACCESS_DENIED;
  }
  struct stat info {};
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    error = "not a regular file";
    ::close(fd);
    return VOR_E_INVALID_PATH_NAME;
  }
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  out = PosixFile::Adopt(fd, kMaxStorageFileBytes);
  if (!out) {
    error = "out of memory";
    return VOR_E_OUT_OF_MEMORY;
  }
  return VOR_OK;
}

std::string Session::DefaultModulePath() {
  // The module is installed in vor/ beside this library; the build tree has
  // the same layout. No other place is searched: a privileged caller must
  // never load a module planted elsewhere.
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&Session::DefaultModulePath), &info) == 0 ||
      info.dli_fname == nullptr) {
    return {};
  }
  std::error_code error;
  const std::filesystem::path self = std::filesystem::canonical(info.dli_fname, error);
  if (error) return {};
  const std::filesystem::path module = self.parent_path() / "vor" / "libvor.so";
  return std::filesystem::is_regular_file(module, error) ? module.string() : std::string();
}

}  // namespace vor::host
