// vorctl as a host of the built module: checks of real files and processes,
// the test sample, status and ps, compared as JSON text and exit statuses.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/testing_host/command.h"

namespace vor::testing {
namespace {

class VorctlServiceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char dir[] = "/tmp/vorctl-e2e-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    dir_ = dir;
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  void Write(const std::string& name, const std::string& content) {
    std::ofstream(dir_ + "/" + name, std::ios::binary) << content;
  }

  std::string dir_;
};

// A child that sleeps until killed.
struct Sleeper {
  Sleeper() {
    pid = fork();
    if (pid == 0) {
      execl("/bin/sleep", "sleep", "30", static_cast<char*>(nullptr));
      _exit(127);
    }
    usleep(50 * 1000);
  }
  ~Sleeper() {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }
  pid_t pid;
};

TEST_F(VorctlServiceTest, ChecksFiles) {
  CommandResult run = RunVorctl("--json check-file /usr/bin/ls");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out,
            "[{\"path\":\"/usr/bin/ls\",\"critical\":true,\"result\":\"0x00000000\","
            "\"message\":\"No error\"}]\n");

  run = RunVorctl("check-file /usr/bin/ls /usr/bin/../bin/ls relative " +
                  ShellQuote("/" + std::string(5000, 'a')));
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out.substr(0, 58),
            "/usr/bin/ls: critical\n/usr/bin/../bin/ls: not critical\nrel");

  run = RunVorctl("check-file ''");
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.err, "vorctl: check-file : Invalid argument (0x80000046)\n");
  EXPECT_EQ(run.out, ": Invalid argument (0x80000046)\n");

  run = RunVorctl("check-file \"$(printf '/tmp/\\377')\"");
  EXPECT_EQ(run.status, 3) << "a path that is not UTF-8 cannot be asked about";
  EXPECT_NE(run.err.find("(0x80000300)"), std::string::npos) << run.err;
}

TEST_F(VorctlServiceTest, TestSampleIsCriticalAndExplained) {
  CommandResult made = RunVorctl("--json make-test-sample " + ShellQuote(dir_));
  ASSERT_EQ(made.status, 0) << made.err;
  const std::string sample = dir_ + "/qz_special_detection_test_trojana";
  EXPECT_EQ(made.out, "{\"path\":\"" + sample + "\"}\n");
  EXPECT_EQ(std::filesystem::file_size(sample), 27u);

  CommandResult run = RunVorctl("--json check-file --explain " + ShellQuote(sample));
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("\"critical\":true"), std::string::npos);
  EXPECT_NE(run.out.find("\"trace\":[\"vor: Checking critical file for path <" + sample + ">...\""),
            std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("vor: Test sample 1 was detected in <" + sample + ">"), std::string::npos);

  EXPECT_EQ(RunVorctl("make-test-sample /nonexistent/dir").status, 3);
  EXPECT_EQ(RunVorctl("make-test-sample").status, 2);
}

TEST_F(VorctlServiceTest, ChecksProcessesWithAndWithoutAList) {
  Sleeper child;
  const std::string pid = std::to_string(child.pid);
  CommandResult run = RunVorctl("--json check-pid " + pid);
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_EQ(run.out, "[{\"pid\":" + pid +
                         ",\"critical\":false,\"result\":\"0x00000000\",\"message\":\"No error\"}]\n");

  char image[PATH_MAX];
  ASSERT_NE(realpath("/bin/sleep", image), nullptr);
  Write("vor_proc.xms", std::string("<vor_process_list><vor_process_entry flags=\"1\" path=\"") +
                            image + "\"/></vor_process_list>");
  run = RunVorctl("--storage " + ShellQuote(dir_) + " check-pid --explain " + pid);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find(pid + ": critical\n"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("vor: Process PID <" + pid + "> is critical by list"), std::string::npos);

  // A corrupt list in storage: the service still starts, without the list.
  Write("vor_proc.xms", "<vor_process_list><vor_process_entry flags=");
  run = RunVorctl("--storage " + ShellQuote(dir_) + " check-pid " + pid);
  EXPECT_EQ(run.status, 1) << run.err;

  run = RunVorctl("check-pid 0 4294967295");
  EXPECT_EQ(run.status, 3);
  EXPECT_NE(run.err.find("vorctl: check-pid 0: Invalid argument (0x80000046)"), std::string::npos);
  for (const char* bad : {"check-pid abc", "check-pid -1", "check-pid 4294967296", "check-pid"}) {
    EXPECT_EQ(RunVorctl(bad).status, 2) << bad;
  }
}

TEST_F(VorctlServiceTest, BadModulesAndStoragesAreClearErrors) {
  CommandResult run = RunVorctl("--module /bin/ls check-file /usr/bin/ls");
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.err.rfind("vorctl: cannot load module '/bin/ls'", 0), 0u) << run.err;
  Write("fake.so", "not an ELF file");
  run = RunVorctl("--module " + ShellQuote(dir_ + "/fake.so") + " status");
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.out, "");
  run = RunVorctl("--storage /nonexistent/storage check-file /usr/bin/ls");
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err.rfind("vorctl: ", 0), 0u);
}

TEST_F(VorctlServiceTest, StatusAndPsDescribeThisMachine) {
  CommandResult run = RunVorctl("--json status");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out.rfind("{\"os_release\":{\"name\":", 0), 0u) << run.out;
  EXPECT_NE(run.out.find("\"version\":\"1.7.4.0\""), std::string::npos);
  EXPECT_NE(run.out.find("\"library_directories\":["), std::string::npos);
  EXPECT_NE(run.out.find("\"critical_processes\":[{\"pid\":"), std::string::npos)
      << "vorctl's own process is critical to the module it hosts";

  run = RunVorctl("");
  EXPECT_EQ(run.status, 0) << "status is the default command";
  EXPECT_EQ(run.out.rfind("OS release:", 0), 0u);

  run = RunVorctl("--json ps");
  ASSERT_EQ(run.status, 0) << run.err;
  const std::string self = "{\"pid\":" + std::to_string(getpid()) + ",\"ppid\":" +
                           std::to_string(getppid()) + ",\"image\":\"";
  EXPECT_NE(run.out.find(self), std::string::npos) << "this test process is listed";
}

}  // namespace
}  // namespace vor::testing
