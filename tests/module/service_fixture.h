// The built libvor.so loaded as a host loads it, and the set-up of every
// black-box suite of the service: a testing host with the reference host's
// file and XML factories, a fresh storage folder, and the criticality service
// created through the loaded module's factory.
#ifndef VOR_TESTS_MODULE_SERVICE_FIXTURE_H_
#define VOR_TESTS_MODULE_SERVICE_FIXTURE_H_

#include <gtest/gtest.h>

#include <string>

#include "host/directory_storage.h"
#include "host/lumo_file_factory.h"
#include "host/xml_factory.h"
#include "tests/testing_host/testing_host.h"
#include "vor/corvane.h"
#include "vor/module.h"

namespace vor::testing {

// Loads VOR_MODULE_PATH and resolves its three exports; fails the current test
// when it cannot, and when objects of the module outlive it.
class LoadedModule {
 public:
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

class ServiceTest : public ::testing::Test {
 protected:
  void SetUp() override;
  // Checks that the service gave back every block of host memory.
  void TearDown() override;

  // Creates the service and asks for its other interfaces; the factory's code.
  zel::result_t Create();
  // Drops every reference to the service.
  void Release();
  // Creates the service, sets the storage to dir_ and verifies.
  void StartService();

  zel::result_t CheckFile(const std::u16string& path, bool& critical);
  zel::result_t CheckPid(std::uint32_t pid, bool& critical);

  TestingHost host_;
  LoadedModule module_;
  const TempDir dir_;  // also the storage folder
  Ref<host::DirectoryStorage> storage_;
  Ref<ICorvane2> service_;
  Ref<app_core::service_manager::IObjectState> state_;
  Ref<app_core::service_manager::IStorageObjectState> storageState_;
  Ref<app_core::service_manager::IStorageUpdateDelegate> updates_;
  int context_ = 0;
};

}  // namespace vor::testing

#endif  // VOR_TESTS_MODULE_SERVICE_FIXTURE_H_
