#include "diagnostics.h"

#include <exception>

#include "filelist/vor_list.h"
#include "osinfo/os_release_info.h"
#include "osinfo/release_parser.h"
#include "runtime/result.h"
#include "runtime/string.h"

namespace vorctl {

OsReleaseAnswer FindOsRelease(const ReferenceHost& host) {
  zel::string name(host.allocator());
  zel::string version(host.allocator());
  OsReleaseAnswer answer;
  answer.result = vor::FindReleaseInfo(host.locator(), host.fileFactory(), name, version);
  answer.name.assign(name.view());
  answer.version.assign(version.view());
  return answer;
}

FileListAnswer BuildFileList(const ReferenceHost& host, zel::IStorage* storage) {
  FileListAnswer answer;
  const auto fail = [&answer](const char* step, zel::result_t code) {
    answer.failedStep = step;
    answer.result = code;
    return answer;
  };
  try {
    vor::VorList list(host.locator());
    // The release only gates features the list does not have; unknown is fine.
    const vor::OsReleaseInfo release;
    zel::result_t code = list.Init(host.allocator(), release);
    if (zel::Failed(code)) return fail("file list init", code);
    code = list.Update(storage);
    if (zel::Failed(code)) return fail("file list update", code);
    code = list.CopySortedPaths(answer.paths);
    if (zel::Failed(code)) return fail("file list", code);
    code = list.CopyExistingLibraryDirectories(answer.libraryDirectories);
    if (zel::Failed(code)) return fail("library directories", code);
  } catch (const std::exception&) {
    return fail("file list", zel::kErrOutOfMemory);  // the only throw left here: out of memory
  }
  return answer;
}

}  // namespace vorctl
