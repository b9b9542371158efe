#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <atomic>
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
#include "host/lumo_file_factory.h"
#include "host/malloc_allocator.h"
#include "host/module_trust.h"
#include "host/posix_file.h"
#include "host/service_locator.h"
#include "host/session_tracer.h"
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

// `text` widened into `out` when it is all ASCII; false otherwise. Sixteen
// bytes at a time: paths checked in bulk spend their time here otherwise.
bool WidenAscii(std::string_view text, std::u16string& out) {
  out.resize(text.size());
  std::size_t i = 0;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  for (; i + 16 <= text.size(); i += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + i));
    if (_mm_movemask_epi8(bytes) != 0) return false;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(&out[i]), _mm_unpacklo_epi8(bytes, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(&out[i + 8]), _mm_unpackhi_epi8(bytes, zero));
  }
#endif
  for (; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c >= 0x80) return false;
    out[i] = c;
  }
  return true;
}

}  // namespace

struct Session::Impl {
  // Creates, verifies and returns a service instance; the module's own lines
  // of its Verify tell the state of the process list it read.
  zel::result_t NewInstance(std::shared_ptr<Instance>& out, ListStatus& list,
                            std::vector<std::string>& lines, std::string& error);
  ListStatus ListStatusFrom(const std::vector<std::string>& lines) const;

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

  std::atomic<std::shared_ptr<Instance>> current;
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
    code = impl->NewInstance(instance, impl->list, impl->startup, why);
    if (zel::Failed(code)) return fail(code, why);
    impl->current.store(std::move(instance));
    out.reset(new Session(std::move(impl)));
    return VOR_OK;
  } catch (const std::bad_alloc&) {
    return fail(VOR_E_OUT_OF_MEMORY, "out of memory");
  }
}

namespace {

// Asks `check` of the instance in force; the module's lines of this one call
// are collected only when the caller wants them, so plain checks pay nothing.
template <class Check>
Answer Ask(const std::shared_ptr<Instance>& instance, SessionTracer& tracer,
           std::vector<std::string>* explain, Check check) {
  Answer answer;
  std::optional<SessionTracer::Collect> collect;
  if (explain != nullptr) collect.emplace(tracer, VOR_TRACE_INFO, *explain);
  answer.result = check(*instance->service.get(), answer.critical);
  if (zel::Failed(answer.result)) answer.critical = false;
  return answer;
}

}  // namespace

Answer Session::CheckFile(std::string_view utf8Path, std::vector<std::string>* explain) {
  try {
    // Checks come by the million: the UTF-16 copy reuses this thread's
    // buffer, and ASCII, most paths, is widened without decoding.
    thread_local std::u16string wide;
    if (!WidenAscii(utf8Path, wide)) {
      wide.clear();
      if (!utf::Utf8ToUtf16(utf8Path, [&](char16_t c) { wide.push_back(c); })) {
        return {VOR_E_INVALID_SYMBOL, false};
      }
    }
    return Ask(impl_->current.load(), *impl_->tracer.get(), explain,
               [](ICorvane2& service, bool& critical) {
                 return service.CheckCriticalFile(&check_context, wide.c_str(), &critical);
               });
  } catch (const std::bad_alloc&) {
    return {VOR_E_OUT_OF_MEMORY, false};
  }
}

Answer Session::CheckPid(std::uint32_t pid, std::vector<std::string>* explain) {
  try {
    return Ask(impl_->current.load(), *impl_->tracer.get(), explain,
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
    std::shared_ptr<Instance> instance;
    ListStatus list;
    std::vector<std::string> lines;
    std::string why;
    const zel::result_t code = impl_->NewInstance(instance, list, lines, why);
    if (zel::Failed(code)) return code;
    if (list.state == VOR_LIST_FAILED) return list.result;
    impl_->current.store(std::move(instance));
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
