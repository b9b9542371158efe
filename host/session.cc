#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <new>
#include <optional>

#include "host/directory_storage.h"
#include "host/environment.h"
#include "host/feature_flags.h"
#include "host/file_entries.h"
#include "host/lumo_file_factory.h"
#include "host/malloc_allocator.h"
#include "host/posix_file.h"
#include "host/service_locator.h"
#include "host/session_tracer.h"
#include "host/wide_path.h"
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

// The loaded libvor.so. It is unloaded only when it says that none of its
// objects is alive; otherwise unloading would pull code from under them.
struct Module {
  ~Module() {
    if (handle != nullptr && canUnload != nullptr && canUnload() == VOR_OK) dlclose(handle);
  }

  void* handle = nullptr;
  zelGetObjectFactoryFn getFactory = nullptr;
  zelCanUnloadModuleFn canUnload = nullptr;
  std::string version;
};

// One service instance; it keeps its module loaded for as long as it lives.
struct Instance {
  std::shared_ptr<Module> module;
  Ref<ICorvane2> service;  // released before the module goes
};

// "... with error 0x8000005a" -> 0x8000005a; 0 when the line has no code.
zel::result_t CodeAfter(std::string_view line, std::string_view words) {
  const std::size_t at = line.find(words);
  if (at == std::string_view::npos) return VOR_OK;
  const std::string_view digits = line.substr(at + words.size());
  zel::result_t code = VOR_OK;
  std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
  return code;
}

}  // namespace

struct Session::Impl {
  // Creates, verifies and returns a service instance; the module's own lines
  // of its Verify tell the state of the process list it read.
  zel::result_t NewInstance(std::shared_ptr<Instance>& out, ListStatus& list,
                            std::vector<std::string>& lines, std::string& error);
  ListStatus ListStatusFrom(const std::vector<std::string>& lines) const;
  // Answers for the entry `path` names (see session.h); `asked` and `as`,
  // when given, receive the path asked first and the spelling that decided.
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
  bool exact = false;
  bool confined = false;  // a root other than "/"
  FileEntries fileEntries;

  // The instance in force, swapped by Reload. Guarded by a plain mutex: this
  // libstdc++'s atomic<shared_ptr> reads the pointer before a relaxed unlock,
  // which does not order that read before the next store (ThreadSanitizer
  // reports it as a race with Reload).
  std::shared_ptr<Instance> Current() const {
    std::lock_guard<std::mutex> hold(currentMutex);
    return current;
  }
  void SetCurrent(std::shared_ptr<Instance> instance) {
    {
      std::lock_guard<std::mutex> hold(currentMutex);
      current.swap(instance);
    }
    // The instance replaced goes here, outside the lock, when it was the last reference.
  }
  mutable std::mutex currentMutex;
  std::shared_ptr<Instance> current;
  mutable std::mutex listMutex;  // guards `list` and `startup`; Reload holds reloadMutex too
  ListStatus list;
  std::vector<std::string> startup;  // the module's lines of the instance in force
  std::mutex reloadMutex;
};

zel::result_t Session::Impl::NewInstance(std::shared_ptr<Instance>& out, ListStatus& status,
                                         std::vector<std::string>& lines, std::string& error) {
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
  lines.clear();
  {
    SessionTracer::Collect collect(*tracer.get(), VOR_TRACE_INFO, lines, /*raw=*/true);
    code = state->Init();
    if (zel::Succeeded(code)) code = state->Verify();
  }
  if (zel::Failed(code)) {
    error = "cannot initialise the service";
    return code;
  }
  status = ListStatusFrom(lines);
  out = std::move(instance);
  return VOR_OK;
}

ListStatus Session::Impl::ListStatusFrom(const std::vector<std::string>& lines) const {
  ListStatus status;
  bool loaded = false;
  std::uint32_t entries = 0;
  for (const std::string& line : lines) {
    // Each entry taken into the list is traced "    N) flags <0x..>, path <..>".
    if (line.find(") flags <0x") != std::string::npos) ++entries;
    if (line.find("vor process list update status is ok") != std::string::npos) loaded = true;
    const zel::result_t failed =
        CodeAfter(line, "Can't update vor process list from storage with error 0x");
    if (zel::Failed(failed)) status.result = failed;
  }
  if (loaded) {
    status.state = VOR_LIST_LOADED;
    status.entries = entries;
  } else if (status.result == VOR_E_FILE_NOT_FOUND) {
    status.result = VOR_OK;  // no vor_proc.xms: the empty list, a normal state
  } else {
    status.state = VOR_LIST_FAILED;
    if (zel::Succeeded(status.result)) status.result = VOR_E_UNEXPECTED;
    if (status.result == XmlFactory::kParseError) {
      const XmlParseError parse = xml->last_parse_error();
      status.syntax = {parse.line, parse.column, parse.description};
    }
  }
  return status;
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
      return fail(code, "cannot read the links to directories in /");
    }
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
    module->handle = dlopen(impl->modulePath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module->handle == nullptr) {
      const char* text = dlerror();
      return fail(VOR_E_MODULE_NOT_FOUND, "cannot load module '" + impl->modulePath +
                                              "': " + (text ? text : "unknown error"));
    }
    module->getFactory =
        reinterpret_cast<zelGetObjectFactoryFn>(dlsym(module->handle, "zelGetObjectFactory"));
    module->canUnload =
        reinterpret_cast<zelCanUnloadModuleFn>(dlsym(module->handle, "zelCanUnloadModule"));
    const auto* version =
        static_cast<const ModuleVersionRecord*>(dlsym(module->handle, "zelModuleVersion"));
    if (module->getFactory == nullptr || module->canUnload == nullptr || version == nullptr) {
      dlclose(module->handle);
      module->handle = nullptr;
      return fail(VOR_E_SYMBOL_NOT_FOUND,
                  "'" + impl->modulePath + "' is not a libvor module: its exports are missing");
    }
    char text[24];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", version->version[0], version->version[1],
                  version->version[2], version->version[3]);
    module->version = text;
    impl->module = std::move(module);

    std::shared_ptr<Instance> instance;
    code = impl->NewInstance(instance, impl->list, impl->startup, why);
    if (zel::Failed(code)) return fail(code, why);
    impl->SetCurrent(std::move(instance));
    out.reset(new Session(std::move(impl)));
    return VOR_OK;
  } catch (const std::bad_alloc&) {
    return fail(VOR_E_OUT_OF_MEMORY, "out of memory");
  }
}

namespace {

// Asks `check` of the instance; the module's lines of this one call are
// collected only when the caller wants them, so plain checks pay nothing.
template <class Check>
Answer Ask(const Instance& instance, SessionTracer& tracer, std::vector<std::string>* explain,
           Check check) {
  Answer answer;
  std::optional<SessionTracer::Collect> collect;
  if (explain != nullptr) collect.emplace(tracer, VOR_TRACE_INFO, *explain);
  answer.result = check(*instance.service.get(), answer.critical);
  if (zel::Failed(answer.result)) answer.critical = false;
  return answer;
}

// The spelling FileEntries::AppendOtherSpellings wrote at `at` (NUL-
// terminated), and `at` moved past it.
std::u16string_view CountedSpelling(const std::u16string& spellings, std::size_t& at) {
  const std::size_t size = spellings[at] | static_cast<std::size_t>(spellings[at + 1]) << 16;
  const std::u16string_view spelling(spellings.data() + at + 2, size);
  at += size + 3;
  return spelling;
}

Answer AskFile(const Instance& instance, SessionTracer& tracer,
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
  // entry's spellings reuses this thread's buffer.
  thread_local std::u16string wide;
  AskedPath shape;
  std::string scratch;  // only for paths that are not clean and absolute
  const zel::result_t shaped = Shape(path, scratch, shape);
  if (zel::Failed(shaped)) return {shaped, false};
  if (asked != nullptr) asked->assign(shape.text);
  wide.clear();
  if (!AppendWide(shape.text, wide)) return {VOR_E_INVALID_SYMBOL, false};
  const std::shared_ptr<Instance> instance = Current();
  const Answer answer = AskFile(*instance, *tracer.get(), explain, wide.c_str());
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
    const Answer other =
        AskFile(*instance, *tracer.get(), explain ? &lines : nullptr, spelling.data());
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
  } catch (const std::bad_alloc&) {
    return {VOR_E_OUT_OF_MEMORY, false};
  }
}

void Session::CheckFileEntry(std::string_view utf8Path, FileAnswer& out,
                             std::vector<std::string>* explain) {
  try {
    const Answer answer = impl_->CheckEntry(utf8Path, &out.asked, &out.as, explain);
    out.result = answer.result;
    out.critical = answer.critical;
  } catch (const std::bad_alloc&) {
    out.result = VOR_E_OUT_OF_MEMORY;
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
    std::u16string wide;
    std::size_t count = 0;
    if (impl_->ByEntry()) code = impl_->fileEntries.AppendOtherSpellings(shape, wide, count);
    if (zel::Failed(code)) return code;
    out.emplace_back(shape.text);
    for (std::size_t at = 0; count > 0; --count) {
      std::string& spelling = out.emplace_back();
      utf::Utf16ToUtf8(CountedSpelling(wide, at), [&spelling](char c) { spelling.push_back(c); });
    }
    return VOR_OK;
  } catch (const std::bad_alloc&) {
    return VOR_E_OUT_OF_MEMORY;
  }
}

Answer Session::CheckPid(std::uint32_t pid, std::vector<std::string>* explain) {
  try {
    return Ask(*impl_->Current(), *impl_->tracer.get(), explain,
               [pid](ICorvane2& service, bool& critical) {
                 return service.CheckCriticalProcess(&check_context, pid, &critical);
               });
  } catch (const std::bad_alloc&) {
    return {VOR_E_OUT_OF_MEMORY, false};
  }
}

zel::result_t Session::Reload() {
  try {
    std::lock_guard<std::mutex> hold(impl_->reloadMutex);
    if (impl_->ByEntry()) {
      const zel::result_t refreshed = impl_->fileEntries.Refresh();
      if (zel::Failed(refreshed)) return refreshed;
    }
    std::shared_ptr<Instance> instance;
    ListStatus list;
    std::vector<std::string> lines;
    std::string why;
    const zel::result_t code = impl_->NewInstance(instance, list, lines, why);
    if (zel::Failed(code)) return code;
    if (list.state == VOR_LIST_FAILED) return list.result;
    impl_->SetCurrent(std::move(instance));
    std::lock_guard<std::mutex> listHold(impl_->listMutex);
    impl_->list = std::move(list);
    impl_->startup = std::move(lines);
    return VOR_OK;
  } catch (const std::bad_alloc&) {
    return VOR_E_OUT_OF_MEMORY;
  }
}

ListStatus Session::processList() const {
  std::lock_guard<std::mutex> hold(impl_->listMutex);
  return impl_->list;
}

std::vector<std::string> Session::startupLines() const {
  std::lock_guard<std::mutex> hold(impl_->listMutex);
  return impl_->startup;
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
  out = PosixFile::Adopt(fd);
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
