// The module library a session loads, and the rules it is loaded by.
//
// For every user, a module is named by a path with a '/': a bare name would
// be searched for (LD_LIBRARY_PATH, the loader's cache) instead of loaded.
// When the effective user is root, only a module that root alone can change,
// and that is a module, is loaded:
//   - the file and its folder are owned by root and not writable by group or
//     others;
//   - every folder above, up to "/", is owned by root and either not writable
//     by group or others or sticky (as /tmp, where others can neither remove
//     nor replace root's entries);
//   - the file is a regular ELF shared object of this machine whose dynamic
//     symbols define zelGetObjectFactory, read from its bytes (elf_export.h)
//     and not loaded, so that no foreign library's constructor runs as root.
// A refusal is kErrAccessDenied, its message naming the file and the rule.
//
// The checks hold for what gets loaded. Each folder is opened below the one
// before it without following links and checked through its descriptor; the
// file is opened once and checked and read through its descriptor; and the
// loader is handed "/proc/self/fd/N" of that descriptor, so it maps the very
// file that was checked, whatever happens to the path meanwhile. That
// descriptor stays open while the module is loaded, since the loader knows
// the module by that name and it must not come to name another file; and
// after loading, the export must sit where the checked file puts it.
#ifndef VOR_HOST_MODULE_TRUST_H_
#define VOR_HOST_MODULE_TRUST_H_

#include <string>

#include "vor/result.h"

namespace vor::host {

class TrustedModule {
 public:
  TrustedModule() = default;
  TrustedModule(const TrustedModule&) = delete;
  TrustedModule& operator=(const TrustedModule&) = delete;
  // A loaded module stays loaded (its code may still run): only Unload ends it.
  ~TrustedModule() = default;

  // Loads the module at `path`. kErrAccessDenied for a broken rule,
  // kErrModuleNotFound for a missing file or a loader failure; `error` says
  // which, naming the module.
  zel::result_t Load(const std::string& path, std::string& error);
  // An exported symbol's address; null when there is none.
  void* Symbol(const char* name) const;
  bool loaded() const { return handle_ != nullptr; }
  // Unloads the module and closes the descriptor it was loaded from.
  void Unload();

 private:
  void* handle_ = nullptr;
  int fd_ = -1;  // the checked file, when loaded as root
};

}  // namespace vor::host

#endif  // VOR_HOST_MODULE_TRUST_H_
