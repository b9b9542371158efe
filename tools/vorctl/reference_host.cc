#include "reference_host.h"

#include <cstdio>
#include <cstring>

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

  host.silent_ = zel::Tracer(
      vor::Ref<zel::ITracer>(MakeHostObject<vor::host::StreamTracer>(nullptr, 0).get()), "vor: ");

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

  host.storage_ = MakeHostObject<vor::host::DirectoryStorage>(globals.storageDir);
  if (!host.storage_->ok()) {
    PrintError("cannot open storage directory '" + globals.storageDir + "': " +
               std::strerror(host.storage_->open_error()));
    return std::nullopt;
  }
  host.xmlFactory_ = MakeHostObject<vor::host::XmlFactory>(host.tracer_.get());
  host.locator_->Register(zel::IXmlFactory::kIid, 0, host.xmlFactory_.get());
  host.flags_ = MakeHostObject<vor::host::FeatureFlags>();
  for (const std::string& text : globals.flags) {
    auto assignment = vor::host::ParseAssignment(text);
    if (!assignment) {
      PrintError("invalid --flag '" + text + "': expected NAME=VALUE");
      return std::nullopt;
    }
    host.flags_->Set(std::move(assignment->first), std::move(assignment->second));
  }
  host.locator_->Register(zel::IFeatureFlags::kIid, 0, host.flags_.get());
  host.environment_ = MakeHostObject<vor::host::Environment>();
  for (const std::string& text : globals.env) {
    auto assignment = vor::host::ParseAssignment(text);
    if (!assignment || !host.environment_->Set(assignment->first, assignment->second)) {
      PrintError("invalid --env '" + text + "': expected NAME=VALUE in UTF-8");
      return std::nullopt;
    }
  }
  host.locator_->Register(zel::IEnvironment::kIid, 0, host.environment_.get());
  return host;
}

}  // namespace vorctl
