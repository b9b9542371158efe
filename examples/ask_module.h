// How a host product asks libvor, against the published headers only. The
// host brings its own service locator (allocator, tracer, lumo file factory,
// XML factory) and the storage that holds vor_proc.xms.
#ifndef VOR_EXAMPLES_ASK_MODULE_H_
#define VOR_EXAMPLES_ASK_MODULE_H_

#include <dlfcn.h>

#include <vor/vor.h>

// Returns the module's result code; `critical` holds the answer.
inline zel::result_t IsCriticalFile(const char* modulePath, zel::IServiceLocator* locator,
                                    zel::IStorage* storage, const char16_t* path, bool* critical) {
  using namespace app_core::service_manager;
  void* module = dlopen(modulePath, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) return zel::kErrModuleNotFound;
  auto getFactory = reinterpret_cast<zelGetObjectFactoryFn>(dlsym(module, "zelGetObjectFactory"));
  auto canUnload = reinterpret_cast<zelCanUnloadModuleFn>(dlsym(module, "zelCanUnloadModule"));
  zel::result_t code = zel::kErrSymbolNotFound;
  {
    vor::Ref<zel::IObjectFactory> factory;
    vor::Ref<vor::ICorvane2> service;
    vor::Ref<IStorageObjectState> storageState;
    vor::Ref<IObjectState> state;
    if (getFactory && canUnload &&
        (code = getFactory(locator, vor::kCorvaneClassId, factory.put())) == 0 &&
        (code = factory->CreateInstance(locator, vor::ICorvane2::kIid, service.put_void())) == 0 &&
        (code = service->QueryInterface(IStorageObjectState::kIid, storageState.put_void())) == 0 &&
        (code = service->QueryInterface(IObjectState::kIid, state.put_void())) == 0 &&
        (code = storageState->SetStorage(storage)) == 0 && (code = state->Init()) == 0 &&
        (code = state->Verify()) == 0) {
      int context = 0;  // the caller's own object; the module only checks it is there
      code = service->CheckCriticalFile(&context, path, critical);
    }
  }  // every reference released here
  if (canUnload == nullptr || canUnload() == 0) dlclose(module);
  return code;
}

#endif  // VOR_EXAMPLES_ASK_MODULE_H_
