// Loads the built libvor.so as a host would and resolves its three exports.
#ifndef VOR_TESTS_MODULE_MODULE_LOADER_H_
#define VOR_TESTS_MODULE_MODULE_LOADER_H_

#include "vor/module.h"

namespace vor::testing {

class LoadedModule {
 public:
  // Loads VOR_MODULE_PATH; fails the current test when it cannot.
  LoadedModule();
  ~LoadedModule();
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  zelGetObjectFactoryFn GetObjectFactory = nullptr;
  zelCanUnloadModuleFn CanUnloadModule = nullptr;
  const ModuleVersionRecord* version = nullptr;

 private:
  void* handle_ = nullptr;
};

}  // namespace vor::testing

#endif  // VOR_TESTS_MODULE_MODULE_LOADER_H_
