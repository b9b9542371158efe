// The XML critical process list ("vor_proc.xms") read by UpdateFromStorage
// from an in-memory storage. A failed update must keep the list in force; a
// successful one keeps only entries with flags and the paths they ask for.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_host.h"
#include "osinfo/os_release_info.h"
#include "proclist/process_list_config.h"
#include "proclist/vor_process_list.h"
#include "runtime/result.h"

namespace {

bool SameEntries(const vor::CriticalProcessEntries& a, const vor::CriticalProcessEntries& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i].flags != b[i].flags || a[i].path.view() != b[i].path.view() ||
        a[i].parentPath.view() != b[i].parentPath.view()) {
      return false;
    }
  }
  return true;
}

vor::VorProcessList& SharedList() {
  static vor::VorProcessList* list = [] {
    vor::fuzz::FuzzHost& host = vor::fuzz::SharedHost();
    auto* made = new vor::VorProcessList(host.locator.get());
    vor::OsReleaseInfo release;
    release.name.assign("Debian GNU/Linux");
    release.version.assign("12");
    FUZZ_CHECK(made->Init(host.allocator.get(), release) == zel::kOk);
    return made;
  }();
  return *list;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vor::VorProcessList& list = SharedList();
  auto storage = vor::host::MakeHostObject<vor::fuzz::MemoryStorage>();
  storage->Put(vor::kProcessListWideName, std::string(reinterpret_cast<const char*>(data), size));

  const vor::CriticalProcessEntries before = list.entries();
  const zel::result_t code = list.UpdateFromStorage(storage.get());
  const vor::CriticalProcessEntries after = list.entries();
  if (zel::Failed(code)) {
    FUZZ_CHECK(SameEntries(before, after));
    return 0;
  }
  FUZZ_CHECK(code == zel::kOk);
  for (const vor::CriticalProcessEntry& entry : after) {
    FUZZ_CHECK(entry.flags != 0);
    if (entry.flags & vor::kMatchProcessPath) FUZZ_CHECK(!entry.path.empty());
    if (entry.flags & vor::kMatchParentPath) FUZZ_CHECK(!entry.parentPath.empty());
  }
  return 0;
}
