// Starting service instances: created, given the storage, initialised and
// verified while what the module says of itself is read; and Reload, which
// puts a new instance in force only when its load of the list succeeded.
#include "host/exception_code.h"
#include "host/host_failures.h"
#include "host/session_impl.h"

namespace vor::host {
namespace {

using app_core::service_manager::IObjectState;
using app_core::service_manager::IStorageObjectState;

// Why a load of the process list failed, in words.
std::string ListLoadError(const ListLoad& load, const std::string& storageDir) {
  std::string text = storageDir.empty() ? std::string("cannot load the process list")
                                        : "cannot load '" + storageDir + "/vor_proc.xms'";
  text += ": ";
  text += zel::ResultCodeText(load.result);
  if (load.syntax.line != 0) {
    text += " (line " + std::to_string(load.syntax.line) + ", column " +
            std::to_string(load.syntax.column) + ": " + load.syntax.description + ")";
  }
  return text;
}

}  // namespace

zel::result_t Session::Impl::NewInstance(std::shared_ptr<Instance>& out, std::string& error) {
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
  const HostFailureWatch watch;
  {
    SessionTracer::Collect collect(*tracer.get(), VOR_TRACE_INFO, instance->facts);
    code = state->Init();
    if (zel::Succeeded(code)) code = state->Verify();
  }
  if (zel::Failed(code)) {
    error = "cannot initialise the service";
    return code;
  }
  // The module's own word on the list, unless the host failed it meanwhile:
  // then entries may be missing that the module never saw.
  const StartupFacts& facts = instance->facts;
  ListLoad& load = instance->load;
  const zel::result_t failure = facts.listFailure();
  if (zel::Failed(failure) && failure != VOR_E_FILE_NOT_FOUND) {
    load.result = failure;
    if (failure == XmlFactory::kParseError) {
      const XmlParseError parse = xml->last_parse_error();
      load.syntax = {parse.line, parse.column, parse.description};
    }
  } else if (watch.failures() != 0) {
    load.result = watch.first();
  } else if (!facts.listTaken() && failure != VOR_E_FILE_NOT_FOUND) {
    load.result = VOR_E_UNEXPECTED;  // the module said neither: nothing can be vouched for
  }
  out = std::move(instance);
  return VOR_OK;
}

zel::result_t Session::Reload() {
  std::string error;
  return Reload(error);
}

zel::result_t Session::Reload(std::string& error) {
  try {
    std::lock_guard<std::mutex> hold(impl_->reloadMutex);
    if (impl_->ByEntry()) {
      const zel::result_t refreshed = impl_->fileEntries.Refresh();
      if (zel::Failed(refreshed)) {
        error = kLinksUnread;
        return refreshed;
      }
    }
    std::shared_ptr<Instance> instance;
    zel::result_t code = impl_->NewInstance(instance, error);
    // A failed load keeps the instance in force, and the list with it.
    const bool created = zel::Succeeded(code);
    ListLoad load = created ? instance->load : ListLoad{code, {}};
    code = load.result;
    if (zel::Succeeded(code)) impl_->current.store(std::move(instance));
    if (created && zel::Failed(code)) error = ListLoadError(load, impl_->storageDir);
    std::lock_guard<std::mutex> loadHold(impl_->loadMutex);
    impl_->lastLoad = std::move(load);
    return code;
  } catch (...) {
    const zel::result_t code = CurrentExceptionCode();
    try {
      error = code == VOR_E_OUT_OF_MEMORY ? "out of memory" : "unexpected failure";
      std::lock_guard<std::mutex> loadHold(impl_->loadMutex);
      impl_->lastLoad = {code, {}};
    } catch (...) {
    }
    return code;
  }
}

}  // namespace vor::host
