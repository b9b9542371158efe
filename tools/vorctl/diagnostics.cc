#include "diagnostics.h"

#include "vor/host_services.h"
#include "vor/ref.h"

namespace vorctl {

vor::facts::OsRelease FindOsRelease(vor::host::Session& session) {
  vor::Ref<zel::ILumoFileFactory> files;
  const zel::result_t code = session.locator()->GetInterface(
      zel::ILumoFileFactory::kIid, zel::ILumoFileFactory::kServiceId, files.put_void());
  if (zel::Failed(code)) return {code, {}, {}};
  return vor::facts::FindOsRelease(session.locator(), files.get());
}

vor::facts::FileSet BuildFileSet(vor::host::Session& session) {
  vor::Ref<zel::IAllocator> allocator;
  const zel::result_t code =
      session.locator()->GetInterface(zel::IAllocator::kIid, 0, allocator.put_void());
  if (zel::Failed(code)) return {code, "allocator", {}, {}};
  return vor::facts::BuildFileSet(session.locator(), allocator.get(), session.storage());
}

}  // namespace vorctl
