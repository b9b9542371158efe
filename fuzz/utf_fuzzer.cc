// UTF-16 <-> UTF-8 conversion of the text that crosses the host boundary, and
// the wide lookup of the critical file list that depends on it. The input is
// read both as UTF-16 (little-endian units) and as UTF-8 bytes.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "filelist/vor_list.h"
#include "fuzz/fuzz_host.h"
#include "osinfo/os_release_info.h"
#include "runtime/result.h"
#include "runtime/text.h"
#include "vor/utf.h"

namespace {

// Independent of the converter: true when every surrogate is a high one
// directly followed by a low one.
// UTF-8 to UTF-16 with the converter the hosts use; false for invalid UTF-8.
bool ToWide(std::string_view utf8, std::u16string& wide) {
  wide.clear();
  return vor::utf::Utf8ToUtf16(utf8, [&wide](char16_t c) { wide.push_back(c); });
}

bool SurrogatesPaired(std::u16string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (c >= 0xdc00 && c <= 0xdfff) return false;
    if (c >= 0xd800 && c <= 0xdbff) {
      if (i + 1 == text.size() || text[i + 1] < 0xdc00 || text[i + 1] > 0xdfff) return false;
      ++i;
    }
  }
  return true;
}

struct SharedList {
  vor::VorList* list;
  std::vector<std::string> paths;
};

SharedList& Shared() {
  static SharedList* shared = [] {
    vor::fuzz::FuzzHost& host = vor::fuzz::SharedHost();
    auto* made = new SharedList{new vor::VorList(host.locator.get()), {}};
    vor::OsReleaseInfo release;
    release.name.assign("Debian GNU/Linux");
    release.version.assign("12");
    FUZZ_CHECK(made->list->Init(host.allocator.get(), release) == zel::kOk);
    auto storage = vor::host::MakeHostObject<vor::fuzz::MemoryStorage>();
    FUZZ_CHECK(made->list->Update(storage.get()) == zel::kOk);
    FUZZ_CHECK(made->list->CopySortedPaths(made->paths) == zel::kOk);
    FUZZ_CHECK(!made->paths.empty());
    return made;
  }();
  return *shared;
}

void CheckWideLookup(std::u16string_view wide, zel::result_t converted, const zel::string& utf8) {
  SharedList& shared = Shared();
  bool found = true;
  const zel::result_t code = shared.list->IsInListWide(wide, found);
  if (wide.empty()) {
    FUZZ_CHECK(code == zel::kErrInvalidArgument && !found);
    return;
  }
  if (zel::Failed(converted)) {
    FUZZ_CHECK(code == zel::kErrInvalidSymbol);
    FUZZ_CHECK(!found);
    return;
  }
  bool narrowFound = false;
  FUZZ_CHECK(shared.list->IsInList(utf8.view(), narrowFound) == zel::kOk);
  FUZZ_CHECK(code == zel::kOk);
  FUZZ_CHECK(found == narrowFound);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  SharedList& shared = Shared();
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);

  std::u16string wide(size / 2, u'\0');
  std::memcpy(wide.data(), data, wide.size() * 2);

  zel::string utf8;
  const zel::result_t toUtf8 = zel::ToUtf8(wide, utf8);
  if (SurrogatesPaired(wide)) {
    FUZZ_CHECK(toUtf8 == zel::kOk);
    std::u16string back;
    FUZZ_CHECK(ToWide(utf8.view(), back));
    FUZZ_CHECK(back == wide);
  } else {
    FUZZ_CHECK(toUtf8 == zel::kErrInvalidSymbol);
  }
  CheckWideLookup(wide, toUtf8, utf8);

  // A listed path with the input after it: found exactly when nothing follows.
  if (size > 0) {
    const std::string& listed = shared.paths[data[0] % shared.paths.size()];
    std::u16string probe;
    FUZZ_CHECK(ToWide(listed, probe));
    probe.append(wide, wide.empty() ? 0 : 1, std::u16string::npos);
    zel::string probeUtf8;
    const zel::result_t probeCode = zel::ToUtf8(probe, probeUtf8);
    CheckWideLookup(probe, probeCode, probeUtf8);
    if (wide.size() <= 1) {
      bool found = false;
      FUZZ_CHECK(shared.list->IsInListWide(probe, found) == zel::kOk && found);
    }
  }

  // The bytes as UTF-8: a successful conversion must come back unchanged.
  std::u16string utf16;
  if (ToWide(bytes, utf16)) {
    zel::string again;
    FUZZ_CHECK(zel::ToUtf8(utf16, again) == zel::kOk);
    FUZZ_CHECK(again.view() == bytes);
  }
  return 0;
}
