#include "module_facts.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>


#include "module/tool_facts.h"
#include "output.h"
#include "vor/host_services.h"

namespace vorctl {
CriticalFiles ConfirmedFileSet(vor::host::Session& session) {
  CriticalFiles files;
  vor::Ref<zel::IAllocator> allocator;
  zel::result_t code =
      session.locator()->GetInterface(zel::IAllocator::kIid, 0, allocator.put_void());
  vor::facts::FileSet set;
  if (zel::Succeeded(code)) {
    set = vor::facts::BuildFileSet(session.locator(), allocator.get(), session.storage());
    code = set.result;
  }
  if (zel::Failed(code)) {
    PrintModuleFailure("cannot build the critical file set: " + set.failedStep, code);
    files.ok = false;
    return files;
  }
  // vorctl's copy of the table could differ from the module loaded: every
  // path is asked, and one the module does not hold critical by its letter
  // (another spelling of the same entry deciding does not count) is an error.
  vor::host::FileAnswer answer;
  for (std::string& path : set.paths) {
    session.CheckFileEntry(path, answer);
    if (answer.critical && answer.as.empty()) {
      files.paths.push_back(std::move(path));
    } else {
      PrintModuleFailure("the loaded module does not confirm '" + path + "'",
                         zel::Failed(answer.result) ? answer.result : VOR_E_NOT_MATCHED);
      files.ok = false;
    }
  }
  return files;
}

Presence::Presence(const Globals& globals) {
  if (!globals.sysroot.empty() && globals.sysroot != "/") {
    rootFd_ = ::open(globals.sysroot.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  }
}

Presence::~Presence() {
  if (rootFd_ >= 0) ::close(rootFd_);
}

bool Presence::operator()(const std::string& path) const {
  if (rootFd_ < 0) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0;
  }
  // Resolved as the file factory resolves it: no link leads out of the root.
  open_how how{};
  how.flags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
  how.resolve = RESOLVE_IN_ROOT;
  const long fd = ::syscall(SYS_openat2, rootFd_, path.c_str(), &how, sizeof how);
  if (fd < 0) return false;
  ::close(static_cast<int>(fd));
  return true;
}

}  // namespace vorctl
