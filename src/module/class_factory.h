// The class factory of the criticality service.
#ifndef VOR_MODULE_CLASS_FACTORY_H_
#define VOR_MODULE_CLASS_FACTORY_H_

#include <atomic>
#include <cstdint>

#include "module/object_count.h"
#include "vor/object.h"

namespace vor {

class ClassFactory final : public zel::IObjectFactory {
 public:
  // Creates a factory and queries it for `iid` into `out`; an exception while
  // allocating becomes a code traced through the locator's tracer.
  static zel::result_t Create(zel::IServiceLocator* locator, std::uint32_t iid, void** out);

  std::uint32_t AddRef() override;
  std::uint32_t Release() override;
  zel::result_t QueryInterface(std::uint32_t iid, void** out) override;
  zel::result_t CreateInstance(zel::IServiceLocator* locator, std::uint32_t iid,
                               void** out) override;

 private:
  ClassFactory() = default;
  ~ClassFactory() = default;

  ObjectModuleAutoLock live_;
  std::atomic<std::uint32_t> refs_{1};
};

// Converts the exception in flight during construction into a failure code,
// traced through the locator's tracer when there is one. Crashes on purpose
// should the conversion ever give a success.
zel::result_t ConstructionFailure(zel::IServiceLocator* locator) noexcept;

}  // namespace vor

#endif  // VOR_MODULE_CLASS_FACTORY_H_
