// vorctl as a host of libvor.so: loads the module with dlopen, creates the
// service through its class factory, hands it the storage, runs Init and
// Verify, and on destruction releases everything and unloads the module only
// once it says it may be unloaded.
#ifndef VOR_TOOLS_VORCTL_MODULE_SESSION_H_
#define VOR_TOOLS_VORCTL_MODULE_SESSION_H_

#include <cstdint>
#include <memory>
#include <string>

#include "globals.h"
#include "reference_host.h"
#include "vor/corvane.h"
#include "vor/module.h"
#include "vor/ref.h"

namespace vorctl {

struct Answer {
  std::uint32_t result = 0;
  bool critical = false;
};

class ModuleSession {
 public:
  // Prints "vorctl: ..." and returns null when the module cannot be loaded or
  // the service cannot be set up.
  static std::unique_ptr<ModuleSession> Open(const Globals& globals, ReferenceHost& host);
  ~ModuleSession();
  ModuleSession(const ModuleSession&) = delete;
  ModuleSession& operator=(const ModuleSession&) = delete;

  Answer CheckFile(const std::string& path);
  Answer CheckPid(std::uint32_t pid);

  const std::string& module_path() const { return path_; }
  const ModuleVersionRecord& version() const { return *version_; }

 private:
  ModuleSession() = default;

  std::string path_;
  void* handle_ = nullptr;
  zelCanUnloadModuleFn canUnload_ = nullptr;
  const ModuleVersionRecord* version_ = nullptr;
  vor::Ref<vor::ICorvane2> service_;
};

// The module beside the tool: installed under <prefix>/<libdir>/vor, or the
// one in the build tree; empty when neither exists.
std::string DefaultModulePath();

}  // namespace vorctl

#endif  // VOR_TOOLS_VORCTL_MODULE_SESSION_H_
