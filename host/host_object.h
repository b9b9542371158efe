// HostObject<I>: reference counting and QueryInterface for the host's own
// implementations of an interface. Objects are made with `new` and destroyed
// when the last reference goes.
#ifndef VOR_HOST_HOST_OBJECT_H_
#define VOR_HOST_HOST_OBJECT_H_

#include <atomic>
#include <cstdint>
#include <utility>

#include "vor/object.h"
#include "vor/ref.h"

namespace vor::host {

template <class Interface>
class HostObject : public Interface {
 public:
  std::uint32_t AddRef() override { return refs_.fetch_add(1) + 1; }
  std::uint32_t Release() override {
    const std::uint32_t count = refs_.fetch_sub(1) - 1;
    if (count == 0) delete this;
    return count;
  }
  zel::result_t QueryInterface(std::uint32_t iid, void** out) override {
    if (out == nullptr) return zel::kErrInvalidArgument;
    bool known = iid == zel::IObject::kMainIid;
    if constexpr (requires { Interface::kIid; }) known = known || iid == Interface::kIid;
    if (!known) {
      *out = nullptr;
      return zel::kErrNoInterface;
    }
    AddRef();
    *out = static_cast<Interface*>(this);
    return zel::kOk;
  }

 protected:
  HostObject() = default;
  virtual ~HostObject() = default;

 private:
  std::atomic<std::uint32_t> refs_{1};
};

// Makes a host object; the Ref owns its first reference.
template <class T, class... Args>
Ref<T> MakeHostObject(Args&&... args) {
  return Ref<T>::Adopt(new T(std::forward<Args>(args)...));
}

}  // namespace vor::host

#endif  // VOR_HOST_HOST_OBJECT_H_
