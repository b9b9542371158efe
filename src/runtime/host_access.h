// Asking the host's service locator for an interface.
#ifndef VOR_RUNTIME_HOST_ACCESS_H_
#define VOR_RUNTIME_HOST_ACCESS_H_

#include <cstdint>

#include "runtime/exception.h"
#include "runtime/result.h"
#include "vor/object.h"
#include "vor/ref.h"

namespace zel {

// Gets `T` (by T::kIid) of service `serviceId` into `out`; returns the
// locator's code, or 0x80000046 without a locator.
template <class T>
result_t TryGetInterface(IServiceLocator* locator, vor::Ref<T>& out,
                         std::uint32_t serviceId = 0) noexcept {
  out.reset();
  if (locator == nullptr) return kErrInvalidArgument;
  result_t code = locator->GetInterface(T::kIid, serviceId, out.put_void());
  if (Succeeded(code) && !out) code = kErrNoInterface;
  if (Failed(code)) out.reset();
  return code;
}

// As TryGetInterface, but a failure throws GetInterfaceException.
template <class T>
vor::Ref<T> GetInterface(IServiceLocator* locator, std::uint32_t serviceId = 0) {
  vor::Ref<T> out;
  const result_t code = TryGetInterface(locator, out, serviceId);
  if (Failed(code)) throw GetInterfaceException(code, T::kIid, serviceId);
  return out;
}

}  // namespace zel

#endif  // VOR_RUNTIME_HOST_ACCESS_H_
