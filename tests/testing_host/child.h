// A child process for the tests that ask about live processes: it runs its
// command until the object goes, and is killed and reaped then.
#ifndef VOR_TESTS_TESTING_HOST_CHILD_H_
#define VOR_TESTS_TESTING_HOST_CHILD_H_

#include <cstdint>
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

}  // namespace vor::testing

#endif  // VOR_TESTS_TESTING_HOST_CHILD_H_
