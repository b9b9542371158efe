// The host that vorctl builds from its global options: the reference host's
// services registered in one service locator.
#ifndef VOR_TOOLS_VORCTL_REFERENCE_HOST_H_
#define VOR_TOOLS_VORCTL_REFERENCE_HOST_H_

#include <optional>
#include <string>
#include <vector>

#include "globals.h"
#include "host/directory_storage.h"
#include "host/environment.h"
#include "host/feature_flags.h"
#include "host/lumo_file_factory.h"
#include "host/malloc_allocator.h"
#include "host/service_locator.h"
#include "host/stream_tracer.h"
#include "host/xml_factory.h"
#include "runtime/trace.h"
#include "vor/ref.h"

namespace vorctl {

class ReferenceHost {
 public:
  // Builds the host; on bad options returns nullopt after printing why.
  static std::optional<ReferenceHost> Create(const Globals& globals);

  zel::IServiceLocator* locator() const { return locator_.get(); }
  zel::IAllocator* allocator() const { return allocator_.get(); }
  zel::ITracer* tracer() const { return tracer_.get(); }
  // Keeps the module's lines up to info level from now until StopCapture.
  void StartCapture() { tracer_->StartCapture(zel::kTraceInfo); }
  std::vector<std::string> StopCapture() { return tracer_->StopCapture(); }
  zel::ILumoFileFactory* fileFactory() const { return fileFactory_.get(); }
  // A tracer with every level disabled, for vorctl's own /proc reads, which
  // are not the module's decisions and stay out of --trace.
  const zel::Tracer& silent() const { return silent_; }
  // The --storage directory (an empty storage without the option).
  zel::IStorage* storage() const { return storage_.get(); }

 private:
  ReferenceHost() = default;

  vor::Ref<vor::host::MallocAllocator> allocator_;
  vor::Ref<vor::host::StreamTracer> tracer_;
  vor::Ref<vor::host::ServiceLocator> locator_;
  vor::Ref<vor::host::LumoFileFactory> fileFactory_;  // confined to --sysroot
  vor::Ref<vor::host::DirectoryStorage> storage_;
  zel::Tracer silent_;
  vor::Ref<vor::host::XmlFactory> xmlFactory_;
  vor::Ref<vor::host::FeatureFlags> flags_;    // --flag
  vor::Ref<vor::host::Environment> environment_;  // --env
};

}  // namespace vorctl

#endif  // VOR_TOOLS_VORCTL_REFERENCE_HOST_H_
