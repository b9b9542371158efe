#include "tests/module/module_loader.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace vor::testing {

LoadedModule::LoadedModule() {
  handle_ = dlopen(VOR_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) {
    ADD_FAILURE() << "dlopen: " << dlerror();
    return;
  }
  GetObjectFactory = reinterpret_cast<zelGetObjectFactoryFn>(dlsym(handle_, "zelGetObjectFactory"));
  CanUnloadModule = reinterpret_cast<zelCanUnloadModuleFn>(dlsym(handle_, "zelCanUnloadModule"));
  version = static_cast<const ModuleVersionRecord*>(dlsym(handle_, "zelModuleVersion"));
  EXPECT_NE(GetObjectFactory, nullptr);
  EXPECT_NE(CanUnloadModule, nullptr);
  EXPECT_NE(version, nullptr);
}

LoadedModule::~LoadedModule() {
  if (handle_ == nullptr) return;
  EXPECT_EQ(CanUnloadModule(), 0u) << "objects of the module are still alive";
  dlclose(handle_);
}

}  // namespace vor::testing
