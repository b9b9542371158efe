// validate-proc-list FILE: judges a vor_proc.xms document as the module
// would on an update, and prints its verdict and the entries it would use.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>

#include "commands.h"
#include "host/posix_file.h"
#include "output.h"
#include "proclist/process_list_config.h"
#include "reference_host.h"
#include "runtime/result.h"
#include "runtime/trace.h"

namespace vorctl {
namespace {

// Opens FILE for reading; a FIFO or device is refused without blocking.
vor::Ref<zel::IIo> OpenDocumentFile(const std::string& path, std::string& error) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) {
    error = std::strerror(errno);
    return nullptr;
  }
  struct stat info {};
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    error = "not a regular file";
    ::close(fd);
    return nullptr;
  }
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  vor::Ref<zel::IIo> file = vor::host::PosixFile::Adopt(fd);
  if (!file) error = "out of memory";
  return file;
}

int Validate(const Globals& globals, const std::string& path) {
  std::optional<ReferenceHost> host = ReferenceHost::Create(globals);
  if (!host) return kExitUsage;
  std::string error;
  vor::Ref<zel::IIo> file = OpenDocumentFile(path, error);
  if (!file) {
    PrintError("cannot read '" + path + "': " + error);
    return kExitModuleFailed;
  }

  const zel::Tracer trace(vor::Ref<zel::ITracer>(host->tracer()), "vor: ");
  vor::CriticalProcessEntries entries;
  const zel::result_t code = vor::ReadProcessList(trace, host->locator(), file.get(), entries);
  const bool valid = zel::Succeeded(code);

  if (globals.json) {
    Json list = Json::array();
    for (const vor::CriticalProcessEntry& entry : entries) {
      list.push_back({{"flags", entry.flags},
                      {"path", std::string(entry.path.view())},
                      {"parent_path", std::string(entry.parentPath.view())}});
    }
    PrintJson({{"valid", valid}, {"result", FormatResult(code)}, {"entries", list}});
  } else {
    std::cout << (valid ? "valid" : "invalid") << " (" << FormatResult(code) << " "
              << zel::GetResultCodeMessage(code) << "), " << entries.size() << " entries\n";
    for (const vor::CriticalProcessEntry& entry : entries) {
      std::cout << "  flags 0x" << std::hex << entry.flags << std::dec;
      if (!entry.path.empty()) std::cout << "  path " << entry.path.view();
      if (!entry.parentPath.empty()) std::cout << "  parent_path " << entry.parentPath.view();
      std::cout << '\n';
    }
  }
  return valid ? kExitOk : kExitNegative;
}

}  // namespace

void AddValidateProcListCommand(CLI::App& app, const Globals& globals, int& status) {
  auto path = std::make_shared<std::string>();
  CLI::App* command =
      app.add_subcommand("validate-proc-list",
                         "Judge a vor_proc.xms document: verdict and the entries it yields")
          ->footer("Example: vorctl --json validate-proc-list /var/opt/storage/vor_proc.xms\n"
                   "Exit status: 0 valid, 1 invalid, 3 the file cannot be read.");
  command->add_option("FILE", *path, "the XML critical process list")->required();
  command->callback([&globals, &status, path] { status = Validate(globals, *path); });
}

}  // namespace vorctl
