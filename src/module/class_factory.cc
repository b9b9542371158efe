#include "module/class_factory.h"

#include <new>

#include "module/criticality_service.h"
#include "runtime/host_access.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"

namespace vor {

zel::result_t ConstructionFailure(zel::IServiceLocator* locator) noexcept {
  Ref<zel::ITracer> tracer;
  zel::TryGetInterface(locator, tracer);
  const zel::result_t code = zel::ResultFromCurrentException(
      zel::Tracer(std::move(tracer), ""), "Exception during object construction: ");
  if (!zel::Failed(code)) {
    // An exception during construction must never read as success.
    *static_cast<volatile int*>(nullptr) = 0;
    __builtin_trap();
  }
  return code;
}

zel::result_t ClassFactory::Create(zel::IServiceLocator* locator, std::uint32_t iid,
                                   void** out) {
  ClassFactory* factory;
  try {
    factory = new (::operator new(sizeof(ClassFactory))) ClassFactory();
  } catch (...) {
    if (out != nullptr) *out = nullptr;
    return ConstructionFailure(locator);
  }
  const zel::result_t code = factory->QueryInterface(iid, out);
  factory->Release();  // the construction reference
  return code;
}

std::uint32_t ClassFactory::AddRef() { return refs_.fetch_add(1) + 1; }

std::uint32_t ClassFactory::Release() {
  const std::uint32_t count = refs_.fetch_sub(1) - 1;
  if (count == 0) {
    this->~ClassFactory();
    ::operator delete(this);
  }
  return count;
}

zel::result_t ClassFactory::QueryInterface(std::uint32_t iid, void** out) {
  if (out == nullptr) return zel::kErrInvalidArgument;
  if (iid != zel::IObject::kMainIid && iid != zel::IObjectFactory::kIid) {
    *out = nullptr;
    return zel::kErrNoInterface;
  }
  AddRef();
  *out = static_cast<zel::IObjectFactory*>(this);
  return zel::kOk;
}

zel::result_t ClassFactory::CreateInstance(zel::IServiceLocator* locator, std::uint32_t iid,
                                           void** out) {
  if (out != nullptr) *out = nullptr;
  Ref<zel::IAllocator> allocator;
  const zel::result_t code = zel::TryGetInterface(locator, allocator);
  if (zel::Failed(code)) return code;

  void* memory = nullptr;
  Corvane* service;
  try {
    memory = allocator->Alloc(sizeof(Corvane));
    if (memory == nullptr) throw std::bad_alloc();
    service = new (memory) Corvane(locator);
  } catch (...) {
    if (memory != nullptr) allocator->Free(memory);
    return ConstructionFailure(locator);
  }
  allocator.reset();
  if (out == nullptr) {
    service->Release();
    return zel::kErrInvalidArgument;
  }
  const zel::result_t query = service->QueryInterface(iid, out);
  service->Release();  // the construction reference; destroys it when the query failed
  return query;
}

}  // namespace vor
