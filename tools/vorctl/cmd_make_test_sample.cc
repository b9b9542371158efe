// make-test-sample DIR: writes the harmless test sample that the module
// reports critical, so that a host's handling of critical files can be tried.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include "commands.h"
#include "output.h"

namespace vorctl {
namespace {

constexpr char kSampleName[] = "qz_special_detection_test_trojana";
constexpr char kSampleContent[] = "Velmorant Lab vor test file";  // 27 bytes, no line end

// Writes the sample; returns 0 or the error number of what went wrong (EIO
// for a short write).
int WriteSample(const std::string& path) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644);
  if (fd < 0) return errno;
  const std::size_t size = sizeof kSampleContent - 1;
  const ssize_t written = write(fd, kSampleContent, size);
  const int error = written < 0 ? errno : written != static_cast<ssize_t>(size) ? EIO : 0;
  if (close(fd) != 0 && error == 0) return errno;
  return error;
}

}  // namespace

void AddMakeTestSampleCommand(CLI::App& app, const Globals& globals, int& status) {
  auto directory = std::make_shared<std::string>();
  CLI::App* command =
      app.add_subcommand("make-test-sample", "Write the harmless test sample file into DIR")
          ->footer("Example: vorctl make-test-sample /tmp && "
                   "vorctl check-file /tmp/qz_special_detection_test_trojana");
  command->add_option("DIR", *directory, "an existing directory")->required();
  command->callback([&globals, &status, directory] {
    std::string path = *directory;
    if (path.empty() || path.back() != '/') path += '/';
    path += kSampleName;
    if (const int error = WriteSample(path); error != 0) {
      PrintErrnoFailure("cannot write '" + path + "'", error);
      status = kExitFailed;
      return;
    }
    if (globals.json) {
      PrintJson({{"path", path}});
    } else {
      Out() << path << '\n';
    }
    status = kExitOk;
  });
}

}  // namespace vorctl
