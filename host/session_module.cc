// Loading the module: trusted as the rules for root say, its three exports
// bound, its version read.
#include <cstdio>

#include "host/session_impl.h"

namespace vor::host {

zel::result_t LoadModule(const std::string& path, std::shared_ptr<Module>& out,
                         std::string& error) {
  auto module = std::make_shared<Module>();
  zel::result_t code = module->library.Load(path, error);
  if (zel::Failed(code)) return code;
  module->getFactory =
      reinterpret_cast<zelGetObjectFactoryFn>(module->library.Symbol("zelGetObjectFactory"));
  module->canUnload =
      reinterpret_cast<zelCanUnloadModuleFn>(module->library.Symbol("zelCanUnloadModule"));
  const auto* version =
      static_cast<const ModuleVersionRecord*>(module->library.Symbol("zelModuleVersion"));
  if (module->getFactory == nullptr || module->canUnload == nullptr || version == nullptr) {
    module->library.Unload();
    error = "'" + path + "' is not a libvor module: its exports are missing";
    return VOR_E_SYMBOL_NOT_FOUND;
  }
  char text[24];
  std::snprintf(text, sizeof text, "%u.%u.%u.%u", version->version[0], version->version[1],
                version->version[2], version->version[3]);
  module->version = text;
  out = std::move(module);
  return VOR_OK;
}

}  // namespace vor::host
