// The XML critical file list, read through the reference host's XML factory
// as an update from storage would be: whatever the document, Init ends in a
// code, and a successful one leaves only non-empty paths.
#include <cstddef>
#include <cstdint>
#include <string>

#include "filelist/vor_config_parser.h"
#include "fuzz/fuzz_host.h"
#include "runtime/result.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vor::fuzz::FuzzHost& host = vor::fuzz::SharedHost();
  vor::VorConfigParser parser(host.locator.get());
  vor::Ref<zel::IIo> source =
      vor::fuzz::MemoryStream(std::string(reinterpret_cast<const char*>(data), size));
  const zel::result_t code = parser.Init(source.get());
  if (zel::Succeeded(code)) {
    FUZZ_CHECK(code == zel::kOk);
    FUZZ_CHECK(!parser.paths().empty());
    for (const zel::string& path : parser.paths()) FUZZ_CHECK(!path.empty());
  }
  return 0;
}
