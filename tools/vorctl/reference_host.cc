#include "reference_host.h"

#include <cstdio>

#include "host/host_object.h"
#include "output.h"

namespace vorctl {

std::optional<ReferenceHost> ReferenceHost::Create(const Globals& globals) {
  using vor::host::MakeHostObject;
  ReferenceHost host;
  host.allocator_ = MakeHostObject<vor::host::MallocAllocator>();
  host.locator_ = MakeHostObject<vor::host::ServiceLocator>();

  // Without --trace every level is disabled, so the module builds no line.
  const std::uint32_t threshold =
      globals.traceLevel.empty() ? 0 : ParseTraceLevel(globals.traceLevel).value_or(0);
  if (globals.traceFile.empty()) {
    host.tracer_ = MakeHostObject<vor::host::StreamTracer>(stderr, threshold);
  } else {
    host.tracer_ = MakeHostObject<vor::host::StreamTracer>(globals.traceFile, threshold);
    if (!host.tracer_->ok()) {
      PrintError("cannot open trace file '" + globals.traceFile + "'");
      return std::nullopt;
    }
  }

  host.locator_->Register(zel::IAllocator::kIid, 0, host.allocator_.get());
  host.locator_->Register(zel::ITracer::kIid, 0, host.tracer_.get());

  zel::result_t opened = 0;
  host.fileFactory_ = vor::host::LumoFileFactory::Create(globals.sysroot, &opened);
  if (!host.fileFactory_) {
    PrintModuleFailure("cannot open sysroot '" + globals.sysroot + "'", opened);
    return std::nullopt;
  }
  host.locator_->Register(zel::ILumoFileFactory::kIid, zel::ILumoFileFactory::kServiceId,
                          host.fileFactory_.get());
  return host;
}

}  // namespace vorctl
