// The release file formats. The first byte chooses the format (its low four
// bits: 0 is invalid, 1-7 the formats, 8-15 unknown); the rest is the file.
// With bit 0x10 set the same file is also found through FindReleaseInfo over
// an in-memory file factory, which must agree with the direct parse.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_host.h"
#include "osinfo/release_files.h"
#include "osinfo/release_parser.h"
#include "osinfo/text_split.h"
#include "runtime/result.h"

namespace {

const char16_t* PathOf(vor::ReleaseFileType type) {
  for (const vor::ReleaseFile& file : vor::ReleaseFiles()) {
    if (file.type == type) return file.path;
  }
  return nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  vor::fuzz::FuzzHost& host = vor::fuzz::SharedHost();
  const std::uint8_t selector = data[0];
  const auto type = static_cast<vor::ReleaseFileType>(selector & 0x0f);
  const std::string_view content(reinterpret_cast<const char*>(data + 1), size - 1);

  zel::string name("stale");
  zel::string version("stale");
  const zel::result_t code =
      vor::ParseReleaseFile(host.locator.get(), type, content, name, version);
  const unsigned number = selector & 0x0f;
  if (number == 0 || content.empty()) {
    FUZZ_CHECK(code == zel::kErrInvalidArgument);
  } else if (number > 7) {
    FUZZ_CHECK(code == zel::kErrNotImplemented);
  }
  if (zel::Succeeded(code)) {
    // Two empty outputs are accepted on purpose: a SuSE header that starts
    // with a character of its VERSION gives no name, and a Debian PRETTY_NAME
    // with nothing after the distribution's name gives no version.
    FUZZ_CHECK(!name.empty() || type == vor::ReleaseFileType::kSuseRelease);
    FUZZ_CHECK(!version.empty() ||
               (type == vor::ReleaseFileType::kOsRelease &&
                vor::EqualsIgnoreAsciiCase(name.view(), "Debian GNU/Linux")));
  } else {
    FUZZ_CHECK(name.empty() && version.empty());
  }

  const char16_t* path = PathOf(type);
  if ((selector & 0x10) == 0 || path == nullptr) return 0;
  auto files = vor::host::MakeHostObject<vor::testing::FakeFileFactory>();
  files->Add(path, std::string(content));
  zel::string foundName("stale");
  zel::string foundVersion("stale");
  const zel::result_t found =
      vor::FindReleaseInfo(host.locator.get(), files.get(), foundName, foundVersion);
  if (zel::Succeeded(code)) {
    FUZZ_CHECK(found == code);
    FUZZ_CHECK(foundName.view() == name.view() && foundVersion.view() == version.view());
  } else {
    FUZZ_CHECK(found == zel::kErrNotFound);
    FUZZ_CHECK(foundName.empty() && foundVersion.empty());
  }
  return 0;
}
