// What the parts of the session share: the module loaded, one service
// instance and the slot that holds the one in force, and the session's
// inside (services, the entries of paths, the last load of the list).
// session.cc opens and closes, session_module.cc loads the module,
// session_instance.cc starts instances and reloads, session_checks.cc asks,
// session_list.cc tells the list and what the module found.
#ifndef VOR_HOST_SESSION_IMPL_H_
#define VOR_HOST_SESSION_IMPL_H_

#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "host/directory_storage.h"
#include "host/environment.h"
#include "host/feature_flags.h"
#include "host/file_entries.h"
#include "host/lumo_file_factory.h"
#include "host/malloc_allocator.h"
#include "host/module_trust.h"
#include "host/service_locator.h"
#include "host/session_tracer.h"
#include "host/startup_facts.h"
#include "host/xml_factory.h"
#include "vor/corvane.h"
#include "vor/module.h"
#include "vor/session.hpp"

namespace vor::host {

inline constexpr char kLinksUnread[] = "cannot read the links to directories in /";

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

// Loads, trusts and binds the module at `path`; on failure `error` says why.
zel::result_t LoadModule(const std::string& path, std::shared_ptr<Module>& out, std::string& error);

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

}  // namespace vor::host

#endif  // VOR_HOST_SESSION_IMPL_H_
