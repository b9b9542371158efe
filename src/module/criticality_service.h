// Corvane: the criticality service the host creates through the class factory.
// Its memory comes from the host allocator; Release at zero gives it back.
#ifndef VOR_MODULE_CRITICALITY_SERVICE_H_
#define VOR_MODULE_CRITICALITY_SERVICE_H_

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string_view>

#include "filelist/vor_list.h"
#include "module/object_count.h"
#include "proclist/vor_process_list.h"
#include "runtime/string.h"
#include "runtime/trace.h"
#include "vor/corvane.h"
#include "vor/host_services.h"
#include "vor/io.h"
#include "vor/ref.h"

namespace vor {

class Corvane final : public ICorvane2,
                      public app_core::service_manager::IStorageObjectState,
                      public app_core::service_manager::IObjectState,
                      public app_core::service_manager::IStorageUpdateDelegate {
 public:
  // Throws GetInterfaceException when the locator lacks the allocator or tracer.
  explicit Corvane(zel::IServiceLocator* locator);

  std::uint32_t AddRef() override;
  std::uint32_t Release() override;
  zel::result_t QueryInterface(std::uint32_t iid, void** out) override;

  zel::result_t CheckCriticalProcessByPath(void* context, const char16_t* path,
                                           bool* critical) override;
  zel::result_t CheckCriticalProcess(void* context, std::uint32_t pid, bool* critical) override;
  zel::result_t CheckCriticalFile(void* context, const char16_t* path, bool* critical) override;
  zel::result_t CheckRegistryKey(void* context, const char16_t* key, bool* critical) override;
  zel::result_t CheckRegistryValue(void* context, const char16_t* key,
                                   const char16_t* valueName, bool* critical) override;
  zel::result_t CheckCriticalProcessWithParent(void* context, std::uint32_t pid,
                                               std::uint32_t parentPid, bool* critical) override;

  zel::result_t SetStorage(zel::IStorage* storage) override;
  zel::result_t Init() override;
  zel::result_t Verify() override;
  zel::result_t VerifyUpdate(zel::IStorage* storage) override;
  zel::result_t HandleUpdate(zel::IStorage* storage) override;
  zel::result_t RollbackUpdate() override;

 private:
  ~Corvane();

  zel::result_t VerifySteps();
  zel::result_t GetOsVersion();
  zel::result_t IsCriticalFile(std::u16string_view path, bool& critical);
  // True when `path` names the harmless test sample file; never throws.
  bool DetectTestSample(std::u16string_view path);
  bool DetectTestSampleSteps(std::u16string_view path);

  ObjectModuleAutoLock live_;
  Ref<zel::IAllocator> allocator_;
  zel::Tracer trace_;
  Ref<zel::IServiceLocator> locator_;
  // Set once, at the end of the first successful Verify; checks read it
  // from any thread without a lock.
  std::atomic<bool> initialized_{false};
  Ref<zel::IAllocator> listAllocator_;
  Ref<zel::IStorage> storage_;
  zel::string osName_;
  zel::string osVersion_;
  VorList fileList_;
  VorProcessList processList_;
  Ref<zel::ILumoFileFactory> fileFactory_;
  std::atomic<std::uint32_t> refs_{1};
  // Serialises Verify and the storage changes; the checks never take it.
  std::mutex setupMutex_;
};

}  // namespace vor

#endif  // VOR_MODULE_CRITICALITY_SERVICE_H_
