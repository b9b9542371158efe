// The session opened and closed: the host's services set up and registered,
// the module loaded, the first instance started; and what it holds.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <new>

#include "host/posix_file.h"
#include "host/session_impl.h"

namespace vor::host {

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
    code = LoadModule(impl->modulePath, impl->module, why);
    if (zel::Failed(code)) return fail(code, why);

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
