// A child process for the tests that ask about live processes: it runs its
// command until the object goes, and is killed and reaped then.
#ifndef VOR_TESTS_TESTING_HOST_CHILD_H_
#define VOR_TESTS_TESTING_HOST_CHILD_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vor::testing {

class Child {
 public:
  // Runs `argv` (argv[0] is the executable's path) and waits until the exec
  // has replaced the image, so that /proc shows the command's own, or until
  // the command has ended.
  explicit Child(std::vector<std::string> argv = {"/bin/sleep", "60"});
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  std::uint32_t pid() const { return static_cast<std::uint32_t>(pid_); }
  // The executable's resolved path, as /proc/<pid>/exe names it.
  const std::string& image() const { return image_; }

 private:
  int pid_ = -1;
  bool reaped_ = false;
  std::string image_;
};

// The processes a shell script starts in the background, in a process group
// of their own; the script's "NAME=VALUE" lines are kept for the tables. This
// process becomes their subreaper, so every one of them, orphans included,
// is killed and reaped when the object goes. As root the test process first
// moves to a mount namespace of its own (for good): the script may mount.
class ScriptedProcesses {
 public:
  ScriptedProcesses(const std::string& script, const std::string& dir);
  ~ScriptedProcesses();
  ScriptedProcesses(const ScriptedProcesses&) = delete;
  ScriptedProcesses& operator=(const ScriptedProcesses&) = delete;

  const std::map<std::string, std::string>& values() const { return values_; }
  // The script's exit status (0 when it set everything up).
  int status() const { return status_; }

 private:
  int group_ = -1;
  int status_ = -1;
  std::map<std::string, std::string> values_;
};

}  // namespace vor::testing

#endif  // VOR_TESTS_TESTING_HOST_CHILD_H_
