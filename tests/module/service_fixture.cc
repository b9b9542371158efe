#include "tests/module/service_fixture.h"

#include <dlfcn.h>

#include "host/host_object.h"

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
  EXPECT_TRUE(GetObjectFactory && CanUnloadModule && version) << "an export is missing";
}

LoadedModule::~LoadedModule() {
  if (handle_ == nullptr) return;
  EXPECT_EQ(CanUnloadModule(), 0u) << "objects of the module are still alive";
  dlclose(handle_);
}

void ServiceTest::SetUp() {
  storage_ = host::MakeHostObject<host::DirectoryStorage>(dir_.path);
  // The reference host's file and XML factories: Verify reads through them.
  zel::result_t code = 0;
  Ref<host::LumoFileFactory> files = host::LumoFileFactory::Create("/", &code);
  ASSERT_TRUE(files) << std::hex << code;
  host_.Register(zel::ILumoFileFactory::kIid, files.get(), zel::ILumoFileFactory::kServiceId);
  host_.Register(zel::IXmlFactory::kIid, host::MakeHostObject<host::XmlFactory>().get());
}

void ServiceTest::TearDown() {
  Release();
  EXPECT_EQ(host_.allocator->live_blocks(), 0) << "the service leaked host memory";
}

zel::result_t ServiceTest::Create() {
  using namespace app_core::service_manager;
  Ref<zel::IObjectFactory> factory;
  zel::result_t code = module_.GetObjectFactory(host_.locator.get(), kCorvaneClassId, factory.put());
  if (code == 0) code = factory->CreateInstance(host_.locator.get(), 0, service_.put_void());
  if (code != 0) return code;
  EXPECT_EQ(service_->QueryInterface(IObjectState::kIid, state_.put_void()), 0u);
  EXPECT_EQ(service_->QueryInterface(IStorageObjectState::kIid, storageState_.put_void()), 0u);
  EXPECT_EQ(service_->QueryInterface(IStorageUpdateDelegate::kIid, updates_.put_void()), 0u);
  return code;
}

void ServiceTest::Release() {
  updates_.reset();
  storageState_.reset();
  state_.reset();
  service_.reset();
}

void ServiceTest::StartService() {
  ASSERT_EQ(Create(), 0u);
  ASSERT_EQ(storageState_->SetStorage(storage_.get()), 0u);
  ASSERT_EQ(state_->Verify(), 0u);
}

zel::result_t ServiceTest::CheckFile(const std::u16string& path, bool& critical) {
  critical = true;  // the service must clear it
  return service_->CheckCriticalFile(&context_, path.c_str(), &critical);
}

zel::result_t ServiceTest::CheckPid(std::uint32_t pid, bool& critical) {
  critical = true;
  return service_->CheckCriticalProcess(&context_, pid, &critical);
}

}  // namespace vor::testing
