// Root interfaces of the host component framework: every object a host and the
// module exchange derives from zel::IObject. Interfaces carry no data and no
// virtual destructor, so slot N is the N-th virtual function declared.
#ifndef VOR_OBJECT_H_
#define VOR_OBJECT_H_

#include <cstdint>

#include "vor/result.h"

namespace zel {

class IObject {
 public:
  static constexpr std::uint32_t kMainIid = 0;

  virtual std::uint32_t AddRef() = 0;                                 // slot 0
  virtual std::uint32_t Release() = 0;                                // slot 1
  virtual result_t QueryInterface(std::uint32_t iid, void** out) = 0;  // slot 2

 protected:
  ~IObject() = default;
};

class IServiceLocator : public IObject {
 public:
  // Asks the host for the service `serviceId` (0 = default) of interface `iid`.
  virtual result_t GetInterface(std::uint32_t iid, std::uint32_t serviceId,
                                void** out) = 0;  // slot 3

 protected:
  ~IServiceLocator() = default;
};

class IObjectFactory : public IObject {
 public:
  static constexpr std::uint32_t kIid = 0x80077a33;

  virtual result_t CreateInstance(IServiceLocator* locator, std::uint32_t iid,
                                  void** out) = 0;  // slot 3

 protected:
  ~IObjectFactory() = default;
};

}  // namespace zel

#endif  // VOR_OBJECT_H_
