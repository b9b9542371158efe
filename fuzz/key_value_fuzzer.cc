// The shell-style NAME=value reader over arbitrary bytes: every pair it keeps
// must be a trimmed, non-empty name and value of one line with one "=".
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_host.h"
#include "osinfo/key_value_config.h"
#include "runtime/result.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vor::fuzz::FuzzHost& host = vor::fuzz::SharedHost();
  static auto* config = new vor::LinuxKeyValueConfig(host.locator.get());

  const std::string_view content(reinterpret_cast<const char*>(data), size);
  vor::KeyValuePairs pairs{zel::HostAllocator<vor::KeyValuePair>(host.allocator.get())};
  const zel::result_t code = config->Parse(content, pairs);
  FUZZ_CHECK(code == (content.empty() ? zel::kErrInvalidArgument : zel::kOk));

  for (const vor::KeyValuePair& pair : pairs) {
    const std::string_view name = pair.first.view();
    const std::string_view value = pair.second.view();
    FUZZ_CHECK(!name.empty() && !value.empty());
    FUZZ_CHECK(name.find_first_of("=\n") == std::string_view::npos);
    FUZZ_CHECK(value.find_first_of("=\n") == std::string_view::npos);
    FUZZ_CHECK(name.front() != '#');
    FUZZ_CHECK(name.front() != ' ' && name.front() != '\t');
    FUZZ_CHECK(name.back() != ' ' && name.back() != '\t');
    FUZZ_CHECK(value.front() != '"' && value.front() != '\'');
    FUZZ_CHECK(value.back() != '"' && value.back() != '\'');
    FUZZ_CHECK(content.find(name) != std::string_view::npos);
    FUZZ_CHECK(content.find(value) != std::string_view::npos);
  }
  return 0;
}
