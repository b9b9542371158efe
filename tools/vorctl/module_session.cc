#include "module_session.h"

#include <dlfcn.h>
#include <unistd.h>

#include <filesystem>
#include <string_view>

#include "output.h"
#include "vor/utf.h"

namespace vorctl {
namespace {

// The checks want a non-null opaque context of the caller's.
int check_context;

bool Exists(const std::filesystem::path& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}

}  // namespace

std::string DefaultModulePath() {
  std::error_code error;
  const std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", error);
  if (!error) {
    const std::filesystem::path installed =
        exe.parent_path().parent_path() / VORCTL_MODULE_RELATIVE_TO_PREFIX;
    if (Exists(installed)) return installed.string();
  }
  if (Exists(VORCTL_BUILD_MODULE)) return VORCTL_BUILD_MODULE;
  return {};
}

std::unique_ptr<ModuleSession> ModuleSession::Open(const Globals& globals, ReferenceHost& host) {
  std::unique_ptr<ModuleSession> session(new ModuleSession());
  session->path_ = globals.modulePath.empty() ? DefaultModulePath() : globals.modulePath;
  if (session->path_.empty()) {
    PrintError("cannot find libvor.so beside vorctl; name it with --module PATH");
    return nullptr;
  }
  session->handle_ = dlopen(session->path_.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (session->handle_ == nullptr) {
    const char* why = dlerror();
    PrintError("cannot load module '" + session->path_ + "': " + (why ? why : "unknown error"));
    return nullptr;
  }
  auto get_factory = reinterpret_cast<zelGetObjectFactoryFn>(
      dlsym(session->handle_, "zelGetObjectFactory"));
  session->canUnload_ =
      reinterpret_cast<zelCanUnloadModuleFn>(dlsym(session->handle_, "zelCanUnloadModule"));
  session->version_ =
      static_cast<const ModuleVersionRecord*>(dlsym(session->handle_, "zelModuleVersion"));
  if (get_factory == nullptr || session->canUnload_ == nullptr || session->version_ == nullptr) {
    PrintError("'" + session->path_ + "' is not a libvor module: its exports are missing");
    return nullptr;
  }

  vor::Ref<zel::IObjectFactory> factory;
  std::uint32_t code = get_factory(host.locator(), vor::kCorvaneClassId, factory.put());
  if (code != 0) {
    PrintModuleFailure("cannot get the class factory", code);
    return nullptr;
  }
  code = factory->CreateInstance(host.locator(), vor::ICorvane2::kIid,
                                 session->service_.put_void());
  if (code != 0) {
    PrintModuleFailure("cannot create the service", code);
    return nullptr;
  }

  vor::Ref<app_core::service_manager::IStorageObjectState> storage_state;
  vor::Ref<app_core::service_manager::IObjectState> state;
  code = session->service_->QueryInterface(app_core::service_manager::IStorageObjectState::kIid,
                                           storage_state.put_void());
  if (code == 0) {
    code = session->service_->QueryInterface(app_core::service_manager::IObjectState::kIid,
                                             state.put_void());
  }
  if (code != 0) {
    PrintModuleFailure("the service lacks its state interfaces", code);
    return nullptr;
  }
  code = storage_state->SetStorage(host.storage());
  if (code != 0) {
    PrintModuleFailure("cannot hand the storage to the service", code);
    return nullptr;
  }
  code = state->Init();
  if (code == 0) code = state->Verify();
  if (code != 0) {
    PrintModuleFailure("cannot initialise the service", code);
    return nullptr;
  }
  return session;
}

ModuleSession::~ModuleSession() {
  service_.reset();
  if (handle_ == nullptr) return;
  if (canUnload_ != nullptr && canUnload_() != 0) {
    // An object of the module is still alive: unloading would pull its code away.
    PrintError("the module still has live objects; it stays loaded");
    return;
  }
  dlclose(handle_);
}

Answer ModuleSession::CheckFile(const std::string& path) {
  std::u16string wide;
  if (!vor::utf::Utf8ToUtf16(path, [&](char16_t c) { wide.push_back(c); })) {
    return {zel::kErrInvalidSymbol, false};  // the path is not UTF-8
  }
  Answer answer;
  answer.result = service_->CheckCriticalFile(&check_context, wide.c_str(), &answer.critical);
  return answer;
}

Answer ModuleSession::CheckPid(std::uint32_t pid) {
  Answer answer;
  answer.result = service_->CheckCriticalProcess(&check_context, pid, &answer.critical);
  return answer;
}

}  // namespace vorctl
