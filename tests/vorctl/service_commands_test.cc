// vorctl as a host of the built module, run as a user runs it: one table per
// part of its contract. Each row is a shell command ($V is vorctl, $D a fresh
// directory shared by the rows of one table, which run in order), its exit
// status and its stdout and stderr: exact, or, after a leading '~', a part.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/testing_host/command.h"

namespace vor::testing {
namespace {

struct Case {
  std::string command;
  int status;
  std::string out;
  std::string err;
};

bool Matches(const std::string& actual, const std::string& expected) {
  if (!expected.empty() && expected[0] == '~') return actual.find(expected.substr(1)) != std::string::npos;
  return actual == expected;
}

class VorctlTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char dir[] = "/tmp/vorctl-e2e-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    D = dir;
  }
  void TearDown() override { std::filesystem::remove_all(D); }

  void Run(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
      // Braces: the capture of stderr covers every command of the row.
      const CommandResult run = RunCommand("V=" + ShellQuote(VOR_VORCTL_PATH) +
                                           " D=" + ShellQuote(D) + "; { " + c.command + "\n}");
      EXPECT_EQ(run.status, c.status) << c.command << "\n" << run.err;
      EXPECT_PRED2(Matches, run.out, c.out) << c.command;
      EXPECT_PRED2(Matches, run.err, c.err) << c.command;
    }
  }

  std::string D;
};

// A list that makes /bin/sleep critical, and one the parser stops in.
const std::string kWriteList =
    R"(printf '<vor_process_list><vor_process_entry flags="1" path="%s"/></vor_process_list>' )"
    R"x("$(realpath /bin/sleep)" >$D/vor_proc.xms; )x";
const std::string kBreakList = R"(printf '<vor_process_list><vor_process_entry flags=' >$D/vor_proc.xms; )";
const std::string kSyntax = "line 1, column 43: Error parsing element attribute";
const std::string kSample = "qz_special_detection_test_trojana";
// Waits until the child $p runs /bin/sleep (after its fork, and unshare's
// work), or is gone.
const std::string kWaitSleep = R"x(until [ "$(readlink /proc/$p/exe)" = "$(realpath /bin/sleep)" ])x"
                               R"x( || ! kill -0 $p 2>/dev/null; do sleep 0.05; done; )x";
// What ps says once, on stderr, when it runs without root.
const std::string kPsNotice =
    geteuid() == 0 ? "" : "vorctl: reading other users' processes needs root: some images ('-'), "
                          "mount namespaces or verdicts could not be read\n";
// Runs what follows as an ordinary user (as it is, when the tests are not root).
const std::string kNobody =
    R"x(n=; [ "$(id -u)" = 0 ] && n='setpriv --reuid=65534 --regid=65534 --clear-groups'; $n )x";

TEST_F(VorctlTest, PathsAsTyped) {
  Run({
      {"cd /usr/bin && $V check-file ls ../bin/ls //usr/bin/ls /usr/bin/./ls /usr/lib/ .", 0,
       "ls -> /usr/bin/ls: critical\n../bin/ls -> /usr/bin/ls: critical\n"
       "//usr/bin/ls -> /usr/bin/ls: critical\n/usr/bin/./ls -> /usr/bin/ls: critical\n"
       "/usr/lib/: critical\n. -> /usr/bin/: critical\n", ""},
      {"cd /usr/bin && $V --json check-file ls", 0,
       R"([{"path":"ls","asked":"/usr/bin/ls","critical":true,"result":"0x00000000","message":"No error"}])"
       "\n", ""},
      {"cd / && $V check-file --exact /usr/bin/../bin/ls usr/bin/ls", 1,
       "/usr/bin/../bin/ls: not critical\nusr/bin/ls: not critical\n", ""},
      {"$V make-test-sample $D >/dev/null && cd $D && $V check-file " + kSample, 0,
       kSample + " -> " + D + "/" + kSample + ": critical\n", ""},
      {"cd $D && $V check-file --exact " + kSample, 0, kSample + ": critical\n", ""},
      {"cd $D && $V --sysroot $D check-file --exact " + kSample, 1, kSample + ": not critical\n", ""},
      {"$V --json check-file --explain $D/" + kSample, 0,
       "~vor: Test sample 1 was detected in <" + D + "/" + kSample + ">", ""},
      {"$V --sysroot $D check-file ls", 2, "", "~a relative path under --sysroot"},
      {"$V check-file \"$(printf '/tmp/\\377')\"", 3, "~(0x80000300)\n", "~(0x80000300)\n"},
  });
}

TEST_F(VorctlTest, TheListInForce) {
  const std::string file = D + "/vor_proc.xms";
  const std::string failed = "vorctl: process list " + file + " is not in force (" + kSyntax +
                             "): Invalid signature (0x8000005a)\n";
  Run({
      {"$V --json status", 0,
       R"(~"process_list":{"state":"none","file":null,"entries":0,"result":"0x00000000",)"
       R"("message":"No error","line":null,"column":null,"description":null})", ""},
      {kWriteList + "$V --storage $D status", 0,
       "~Process list:        loaded, 1 entries from " + file + "\n", ""},
      {"sleep 30 & p=$!; " + kWaitSleep + "$V --storage $D check-pid --explain $p; s=$?; kill $p; exit $s", 0,
       "~> is critical by list", ""},
      {kBreakList + "$V --storage $D status", 3,
       "~Process list:        failed: " + file + ": Invalid signature (0x8000005a), " + kSyntax + "\n",
       failed},
      {"$V --storage $D check-pid $$", 3, "~: not critical\n", failed},
      {"$V --storage $D ps", 3, "~ critical ", kPsNotice + failed},
      {"$V --storage $D --json status", 3,
       "~\"process_list\":{\"state\":\"failed\",\"file\":\"" + file +
           R"(","entries":0,"result":"0x8000005a","message":"Invalid signature","line":1,)"
           R"("column":43,"description":"Error parsing element attribute"})", failed},
      {"$V validate-proc-list $D/vor_proc.xms", 1,
       "invalid (0x8000005a Invalid signature), " + kSyntax + ", 0 entries\n", ""},
  });
}

TEST_F(VorctlTest, FactsFromTheLoadedModule) {
  Run({
      {"$V --module /nonexistent.so status", 3, "", "~vorctl: cannot load module '/nonexistent.so'"},
      {"$V --module /nonexistent.so list-files", 3, "", "~cannot load module"},
      {"$V --module /nonexistent.so os-release", 3, "", "~cannot load module"},
      {"$V --trace warning status 2>&1 >/dev/null | grep -c 'OS release is unknown'", 1, "0\n", ""},
      // What status prints is what the module traced when it started.
      {"a=$($V --trace info status 2>&1 >/dev/null | sed -n 's/^vor: Library directory <\\(.*\\)> "
       "is existing$/ \\1/p' | tr -d '\\n'); $V status | grep -cxF \"Library directories:$a\"", 0,
       "1\n", ""},
      {"a=$($V --trace info status 2>&1 >/dev/null | sed -n 's/^vor: Host OS name <\\(.*\\)>, "
       "version <\\(.*\\)>$/\\1 \\2/p'); $V status | grep -cxF \"OS release:          $a\"", 0,
       "1\n", ""},
      {"$V list-files | $V check-file - | grep -vc ': critical$'", 1, "0\n", ""},
  });
}

TEST_F(VorctlTest, BulkChecks) {
  Run({
      {"printf '/usr/bin/ls\\n/tmp/nope\\n' | $V check-file -", 1,
       "/usr/bin/ls: critical\n/tmp/nope: not critical\n", ""},
      {"printf '/usr/bin/ls\\0ls\\0' | (cd /usr/bin && $V check-file -0 -)", 0,
       "/usr/bin/ls: critical\nls -> /usr/bin/ls: critical\n", ""},
      {"printf '/usr/bin/ls\\n/tmp/nope\\n\\n' | $V check-file --only critical -", 3,
       "/usr/bin/ls: critical\n: Invalid argument (0x80000046)\n",
       "vorctl: check-file : Invalid argument (0x80000046)\n"},
      {"printf '/usr/bin/ls\\n/tmp/nope' | $V check-file - --only not-critical", 1,
       "/tmp/nope: not critical\n", ""},
      {"printf '/usr/bin/ls\\n/tmp/nope\\n' | $V --json check-file -", 1,
       R"({"path":"/usr/bin/ls","asked":"/usr/bin/ls","critical":true,"result":"0x00000000","message":"No error"})"
       "\n"
       R"({"path":"/tmp/nope","asked":"/tmp/nope","critical":false,"result":"0x00000000","message":"No error"})"
       "\n", ""},
      {"printf '0\\n' | $V --json check-pid -", 3,
       R"({"pid":0,"critical":null,"result":"0x80000046","message":"Invalid argument"})" "\n",
       "vorctl: check-pid 0: Invalid argument (0x80000046)\n"},
      {"printf '1\\nx\\n' | $V check-pid -", 2, "~", "~invalid process id 'x' on line 2 of stdin\n"},
      {"$V check-file - /usr/bin/ls", 2, "", "~'-' (read from stdin) must be the only object"},
      // More than one read buffer of input: every answer, in order.
      {"yes /usr/bin/ls | head -100000 | $V check-file - | uniq -c", 0,
       " 100000 /usr/bin/ls: critical\n", ""},
  });
}

TEST_F(VorctlTest, AuditAndContainers) {
  Run({
      {"$V list-files --missing | while read p; do [ -e \"$p\" ] || [ -L \"$p\" ] && echo \"$p\"; "
       "done; echo checked", 0, "checked\n", ""},
      {"l=$($V list-files | wc -l); m=$($V list-files --missing | wc -l); [ $m -gt 0 ] && "
       "$V status | grep -cx \"Critical files:      $l listed, $((l - m)) present here\"", 0, "1\n", ""},
      {"$V ps --critical | grep -c 'not critical'", 1, "0\n", kPsNotice},
      {"$V ps --critical | grep -c \" critical  *$(realpath $V)$\"", 0, "1\n", kPsNotice},
      {"$V --json ps --critical", 0,
       R"(~"kernel_thread":false,"other_mnt_ns":false,"critical":true,"result":"0x00000000","message":"No error"})",
       kPsNotice},
      // Kernel threads are visible where kthreadd is (not in a pid namespace).
      {"if [ \"$(cat /proc/2/comm 2>/dev/null)\" = kthreadd ]; then $V ps | grep -c '^ *2  *0  kernel thread  -$'; "
       "else echo 1; fi", 0, "1\n", kPsNotice},
      {"unshare -rm sleep 30 & p=$!; " + kWaitSleep + "$V ps | grep -c \"^ *$p .*(other mount namespace)$\"; "
       "kill $p", 0, "1\n", kPsNotice},
      {"$V --sysroot /proc/$$/root os-release | head -1", 0, "~name:    ", ""},
      {kNobody + "$V --sysroot /proc/1/root os-release", 2, "",
       "vorctl: cannot open sysroot '/proc/1/root': Permission denied (this needs root)\n"},
      {kNobody + "$V ps 2>&1 >/dev/null | grep -c 'needs root'", 0, "1\n", ""},
  });
}

TEST_F(VorctlTest, Robustness) {
  Run({
      {"$V list-files >/dev/full", 3, "", "vorctl: cannot write output: No space left on device\n"},
      {"yes /usr/bin/ls | head -200000 | $V check-file - | head -1", 0, "/usr/bin/ls: critical\n", ""},
      {"$V --flag nosuch.flag=1 --env Foo=1 check-file /usr/bin/ls", 0, "/usr/bin/ls: critical\n",
       "vorctl: warning: the module reads no feature flag 'nosuch.flag'; it reads: "
       "disable_vor.process.namespaces.workaround\n"
       "vorctl: warning: the module reads no environment value 'Foo'; it reads: ProductType\n"},
      {"$V --flag disable_vor.process.namespaces.workaround=true --env ProductType=x status", 0,
       "~", ""},
      {"$V check-file /usr/bin/ls --json", 0, "~[{\"path\":\"/usr/bin/ls\",", ""},
      {"$V check-file --json /usr/bin/ls", 0, "~[{\"path\":\"/usr/bin/ls\",", ""},
      {"$V --version", 0, "~vorctl 1.7.4.0\nmodule 1.7.4.0 (", ""},
      {"$V --json --version", 0, "{\"vorctl\":\"1.7.4.0\",\"module\":\"1.7.4.0\"}\n", ""},
      {"$V --module /nonexistent.so --json --version", 3,
       "{\"vorctl\":\"1.7.4.0\",\"module\":null}\n", "~cannot load module"},
  });
}

TEST_F(VorctlTest, ExitStatus) {
  Run({
      {"$V check-file /usr/bin/ls", 0, "~", ""},
      {"$V check-file /usr/bin/ls /tmp/nope", 1, "~", ""},
      {"$V check-file /tmp/nope ''", 3, "~", "~"},
      {"$V check-pid 0 4294967295", 3, "~", "~vorctl: check-pid 0: Invalid argument (0x80000046)"},
      {"$V check-pid abc", 2, "", "~"},
      {"$V check-pid", 2, "", "~"},
      {"$V check-file --only maybe /usr/bin/ls", 2, "", "~"},
      {"$V --sysroot $D os-release", 3, "", "vorctl: no usable OS release file: Not found (0x8000004c)\n"},
      {"for a in zz 0x 0x1ffffffff 4294967296 -1 12abc; do $V explain $a 2>/dev/null; echo $?; done",
       0, "2\n2\n2\n2\n2\n2\n", ""},
      {"$V explain", 2, "", "~"},
      {"$V --trace loud explain 1", 2, "", "~vorctl: "},
      {"$V explain 2147483718 0X1 0x80010110", 0,
       "0x80000046  Invalid argument\n0x00000001  False\n"
       "0x80010110  Cannot open an anonymous level security token\n", ""},
      {"$V validate-proc-list /nonexistent", 3, "", "~cannot read"},
      {kBreakList + "$V validate-proc-list $D/vor_proc.xms", 1, "~", ""},
      {kWriteList + "$V validate-proc-list $D/vor_proc.xms", 0, "~valid (", ""},
      {"$V ps", 0, "~", kPsNotice},
      {"$V status", 0, "~", ""},
      {"$V list-files", 0, "~", ""},
      {"$V make-test-sample /nonexistent/dir", 3, "", "~cannot write"},
      {"$V make-test-sample", 2, "", "~"},
      {"$V --storage /nonexistent/storage check-file /usr/bin/ls", 2, "", "~cannot open storage"},
      {"$V --module /bin/ls check-file /usr/bin/ls", 3, "", "~vorctl: cannot load module '/bin/ls'"},
      {"$V --nosuch", 2, "", "~"},
  });
}

TEST_F(VorctlTest, OneJsonVocabulary) {
  Run({
      {"$V --json check-file ''", 3,
       R"([{"path":"","asked":"","critical":null,"result":"0x80000046","message":"Invalid argument"}])"
       "\n", "~"},
      {"$V --json check-pid 0", 3,
       R"([{"pid":0,"critical":null,"result":"0x80000046","message":"Invalid argument"}])" "\n", "~"},
      {"$V --json --sysroot $D os-release", 3,
       R"({"name":"","version":"","result":"0x8000004c","message":"Not found"})" "\n", "~"},
      {"$V --json ps", 0, R"(~"critical":true,"result":"0x00000000","message":"No error")", kPsNotice},
      {"$V --json status", 0, "~{\"os\":{\"name\":\"", ""},
      {kBreakList + "$V --json validate-proc-list $D/vor_proc.xms", 1,
       R"({"valid":false,"result":"0x8000005a","message":"Invalid signature","line":1,"column":43,)"
       R"("description":"Error parsing element attribute","entries":[]})" "\n", ""},
      {"$V --json explain 0x8000006b 0x80000048", 0,
       R"([{"code":"0x8000006b","message":"Not initialized"},)"
       R"({"code":"0x80000048","message":"Unknown result code"}])" "\n", ""},
      {"$V --json make-test-sample $D", 0, "{\"path\":\"" + D + "/" + kSample + "\"}\n", ""},
  });
}

}  // namespace
}  // namespace vor::testing
