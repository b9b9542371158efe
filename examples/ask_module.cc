// ask_module PATH: the example integration, run on the reference host.
#include <cstdio>
#include <string>

#include "examples/ask_module.h"
#include "host/directory_storage.h"
#include "host/host_object.h"
#include "host/lumo_file_factory.h"
#include "host/malloc_allocator.h"
#include "host/service_locator.h"
#include "host/stream_tracer.h"
#include "host/xml_factory.h"

int main(int argc, char** argv) {
  using namespace vor::host;
  if (argc != 2) {
    std::fprintf(stderr, "usage: ask_module PATH\n");
    return 2;
  }
  auto locator = MakeHostObject<ServiceLocator>();
  auto allocator = MakeHostObject<MallocAllocator>();
  auto tracer = MakeHostObject<StreamTracer>(stderr, 300);
  zel::result_t code = 0;
  auto files = LumoFileFactory::Create("/", &code);
  auto xml = MakeHostObject<XmlFactory>();
  auto storage = MakeHostObject<DirectoryStorage>("");
  locator->Register(zel::IAllocator::kIid, 0, allocator.get());
  locator->Register(zel::ITracer::kIid, 0, tracer.get());
  locator->Register(zel::ILumoFileFactory::kIid, zel::ILumoFileFactory::kServiceId, files.get());
  locator->Register(zel::IXmlFactory::kIid, 0, xml.get());

  std::u16string path;
  vor::utf::Utf8ToUtf16(argv[1], [&](char16_t c) { path.push_back(c); });
  bool critical = false;
  code = IsCriticalFile(VOR_MODULE_PATH, locator.get(), storage.get(), path.c_str(), &critical);
  std::printf("0x%08x %s\n", code, critical ? "critical" : "not critical");
  return code == 0 ? 0 : 3;
}
