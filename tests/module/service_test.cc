// The criticality service end to end: lifecycle, argument and state checks,
// file and process answers, and the test sample, through the loaded module.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <string>

#include "tests/module/service_fixture.h"

namespace vor::testing {
namespace {

using zel::kErrInvalidArgument, zel::kErrNotImplemented, zel::kErrNotInitialized;

std::u16string Wide(const std::string& ascii) { return std::u16string(ascii.begin(), ascii.end()); }

// A child that sleeps until killed.
class Child {
 public:
  Child() {
    pid_ = fork();
    if (pid_ == 0) {
      execl("/bin/sleep", "sleep", "30", static_cast<char*>(nullptr));
      _exit(127);
    }
    usleep(50 * 1000);  // let exec replace the image
  }
  ~Child() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  pid_t pid() const { return pid_; }

 private:
  pid_t pid_;
};

TEST_F(ServiceTest, VerifyNeedsStorageAndMayBeRepeated) {
  CreateService();
  bool critical = true;
  EXPECT_EQ(CheckFile(u"", critical), kErrInvalidArgument) << "arguments are checked first";
  EXPECT_FALSE(critical);
  EXPECT_EQ(CheckFile(u"/usr/bin/ls", critical), kErrNotInitialized);
  EXPECT_FALSE(critical);

  // HandleUpdate before Verify changes nothing: there is still no storage.
  EXPECT_EQ(updates_->HandleUpdate(storage_.get()), 0u);
  EXPECT_TRUE(host_.tracer->Contains("vor: VOR isn't initialized"));
  EXPECT_EQ(updates_->VerifyUpdate(storage_.get()), 0u);

  host_.tracer->Clear();
  EXPECT_EQ(Verify(), kErrInvalidArgument);
  EXPECT_TRUE(host_.tracer->Contains("vor: Can't update vor list from storage with error 0x80000046"));
  EXPECT_EQ(CheckFile(u"/usr/bin/ls", critical), kErrNotInitialized) << "still uninitialised";

  EXPECT_EQ(SetStorage(storage_.get()), 0u);
  host_.tracer->Clear();
  EXPECT_EQ(Verify(), 0u) << "a retried Verify succeeds once a storage is set";
  EXPECT_TRUE(host_.tracer->Contains("vor: Verify status is ok"));
  EXPECT_EQ(CheckFile(u"/usr/bin/ls", critical), 0u);
  EXPECT_TRUE(critical);

  host_.tracer->Clear();
  EXPECT_EQ(Verify(), 0u);
  EXPECT_EQ(host_.tracer->lines(300), std::vector<std::string>{"vor: VOR is already initialized"});
  EXPECT_EQ(updates_->HandleUpdate(storage_.get()), 0u);
  EXPECT_EQ(updates_->HandleUpdate(nullptr), 0u);
  EXPECT_EQ(updates_->RollbackUpdate(), 0u);
}

TEST_F(ServiceTest, VerifyToleratesAnUnknownOsButNotAMissingFileFactory) {
  // The release files are read below an empty root: no release is known.
  zel::result_t code = 0;
  Ref<host::LumoFileFactory> empty_root = host::LumoFileFactory::Create(dir_, &code);
  ASSERT_TRUE(empty_root);
  host_.Register(zel::ILumoFileFactory::kIid, empty_root.get(), zel::ILumoFileFactory::kServiceId);
  StartService();
  EXPECT_TRUE(host_.tracer->Contains("vor: Can't get OS release info with error 0x8000004c"));
  EXPECT_TRUE(host_.tracer->Contains("vor: Can't get os version with error 0x8000004c"));
  EXPECT_TRUE(host_.tracer->Contains("vor: OS release is unknown. Some functions will be disabled."));
  bool critical = false;
  EXPECT_EQ(CheckFile(u"/usr/bin/ls", critical), 0u);
  EXPECT_TRUE(critical);
  service_.reset();
  state_.reset();
  storageState_.reset();
  updates_.reset();

  host_.locator->Refuse(zel::ILumoFileFactory::kIid, zel::kErrSettingsNotFound);
  CreateService();
  ASSERT_EQ(SetStorage(storage_.get()), 0u);
  host_.tracer->Clear();
  EXPECT_EQ(Verify(), zel::kErrSettingsNotFound);
  EXPECT_EQ(host_.tracer->lines(300),
            std::vector<std::string>{"vor: Can't get lumo file factory with error 0x80000105"});
  host_.locator->Allow(zel::ILumoFileFactory::kIid);
  EXPECT_EQ(Verify(), 0u);
}

TEST_F(ServiceTest, ChecksValidateArgumentsThenState) {
  CreateService();
  bool critical = true;
  EXPECT_EQ(service_->CheckCriticalFile(nullptr, u"/bin/ls", &critical), kErrInvalidArgument);
  EXPECT_EQ(service_->CheckCriticalFile(&context_, nullptr, &critical), kErrInvalidArgument);
  EXPECT_EQ(service_->CheckCriticalFile(&context_, u"/bin/ls", nullptr), kErrInvalidArgument);
  EXPECT_EQ(CheckPid(0, critical), kErrInvalidArgument);
  EXPECT_EQ(service_->CheckCriticalProcessWithParent(&context_, 0, 0, &critical), kErrNotInitialized);
  EXPECT_EQ(service_->CheckCriticalProcessByPath(&context_, u"", &critical), kErrInvalidArgument);
  EXPECT_EQ(service_->CheckCriticalProcessByPath(&context_, u"/bin/sh", &critical), kErrNotInitialized);
  EXPECT_EQ(service_->CheckRegistryKey(&context_, u"", &critical), kErrInvalidArgument);
  EXPECT_EQ(service_->CheckRegistryValue(&context_, u"k", nullptr, &critical), kErrNotInitialized);
  EXPECT_FALSE(critical);
  EXPECT_EQ(SetStorage(nullptr), kErrInvalidArgument);

  ASSERT_EQ(SetStorage(storage_.get()), 0u);
  ASSERT_EQ(Verify(), 0u);
  host_.tracer->Clear();
  EXPECT_EQ(service_->CheckCriticalProcessWithParent(&context_, 0, 7, &critical), kErrNotImplemented);
  EXPECT_EQ(service_->CheckCriticalProcessByPath(&context_, u"/bin/sh", &critical), kErrNotImplemented);
  EXPECT_EQ(service_->CheckRegistryKey(&context_, u"HKLM\\x", &critical), kErrNotImplemented);
  EXPECT_EQ(service_->CheckRegistryValue(&context_, u"HKLM\\x", nullptr, &critical), kErrNotImplemented);
  EXPECT_FALSE(critical);
  EXPECT_EQ(host_.tracer->lines(300),
            (std::vector<std::string>{
                "vor: Checking critical process for pid = 0x0, parentPid = 0x7 isn't implemented!",
                "vor: Check critical process for path is deprecated!",
                "vor: Checking registry key for Linux isn't implemented!",
                "vor: Checking registry value for Linux isn't implemented!"}));
}

TEST_F(ServiceTest, AnswersForFiles) {
  StartService();
  bool critical = false;
  host_.tracer->Clear();
  EXPECT_EQ(CheckFile(u"/usr/bin/ls", critical), 0u);
  EXPECT_TRUE(critical);
  EXPECT_TRUE(host_.tracer->Contains("vor: Checking critical file for path </usr/bin/ls>..."));
  EXPECT_TRUE(host_.tracer->Contains("vor: Path </usr/bin/ls> is critical"));

  EXPECT_EQ(CheckFile(u"/usr/bin/../bin/ls", critical), 0u);
  EXPECT_FALSE(critical) << "lookups are exact";
  EXPECT_TRUE(host_.tracer->Contains("vor: Path </usr/bin/../bin/ls> isn't critical"));

  const char16_t lone_surrogate[] = {u'/', 0xd800, u'x', 0};
  critical = true;
  EXPECT_EQ(service_->CheckCriticalFile(&context_, lone_surrogate, &critical), zel::kErrInvalidSymbol);
  EXPECT_FALSE(critical);

  const std::u16string long_path = u"/" + std::u16string(5000, u'a');
  EXPECT_EQ(CheckFile(long_path, critical), 0u);
  EXPECT_FALSE(critical);
}

TEST_F(ServiceTest, RecognisesTheTestSample) {
  StartService();
  const std::string content = "Velmorant Lab vor test file";
  const std::string sample = WriteFile("qz_special_detection_test_trojana", content);
  bool critical = false;
  host_.tracer->Clear();
  EXPECT_EQ(CheckFile(Wide(sample), critical), 0u);
  EXPECT_TRUE(critical);
  EXPECT_TRUE(host_.tracer->Contains("vor: Test sample 1 was detected in <" + sample + ">"));

  WriteFile("qz_special_detection_test_trojana", content + "\n");
  host_.tracer->Clear();
  EXPECT_EQ(CheckFile(Wide(sample), critical), 0u);
  EXPECT_FALSE(critical) << "28 bytes are not the sample";
  EXPECT_FALSE(host_.tracer->Contains("test file"));

  WriteFile("QZ_special_detection_test_trojana", content);
  host_.tracer->Clear();
  EXPECT_EQ(CheckFile(Wide(dir_ + "/QZ_special_detection_test_trojana"), critical), 0u);
  EXPECT_FALSE(critical);
  EXPECT_FALSE(host_.tracer->Contains("test file")) << "a different name is never opened";

  const std::string missing = dir_ + "/sub/qz_special_detection_test_trojana";
  host_.tracer->Clear();
  EXPECT_EQ(CheckFile(Wide(missing), critical), 0u);
  EXPECT_FALSE(critical);
  EXPECT_TRUE(host_.tracer->Contains("vor: Can't open test file <" + missing + "> with error 0x"));

  // A path without a file name is answered as critical.
  EXPECT_EQ(CheckFile(u"/usr/lib/", critical), 0u);
  EXPECT_TRUE(critical);
}

TEST_F(ServiceTest, AnswersForProcesses) {
  Child child;
  char image[PATH_MAX];
  ASSERT_NE(realpath("/bin/sleep", image), nullptr);
  StartService();

  bool critical = false;
  EXPECT_EQ(CheckPid(static_cast<std::uint32_t>(getpid()), critical), 0u);
  EXPECT_TRUE(critical) << "the host's own process";
  EXPECT_EQ(CheckPid(static_cast<std::uint32_t>(child.pid()), critical), 0u);
  EXPECT_FALSE(critical);
  EXPECT_TRUE(host_.tracer->Contains("vor: Process <" + std::to_string(child.pid()) +
                                     "> isn't critical"));
  // Pid 1 has no readable parent (and in some containers no readable image):
  // a failure, never "critical".
  const zel::result_t init_code = CheckPid(1, critical);
  EXPECT_TRUE(init_code == kErrInvalidArgument || init_code == zel::kErrAccessDenied) << std::hex << init_code;
  EXPECT_FALSE(critical);
  EXPECT_EQ(CheckPid(0xffffffff, critical), kErrInvalidArgument);
  EXPECT_FALSE(critical);
}

TEST_F(ServiceTest, ProcessListFromStorageMakesAProcessCritical) {
  Child child;
  char image[PATH_MAX];
  ASSERT_NE(realpath("/bin/sleep", image), nullptr);
  WriteFile("vor_proc.xms", std::string("<vor_process_list><vor_process_entry flags=\"1\" path=\"") +
                                image + "\"/></vor_process_list>");
  StartService();
  EXPECT_TRUE(host_.tracer->Contains("vor: vor process list update status is ok"));
  bool critical = false;
  EXPECT_EQ(CheckPid(static_cast<std::uint32_t>(child.pid()), critical), 0u);
  EXPECT_TRUE(critical);
  EXPECT_TRUE(host_.tracer->Contains("vor: Process PID <" + std::to_string(child.pid()) +
                                     "> is critical by list"));

  // A corrupt list in storage is tolerated by Verify.
  WriteFile("vor_proc.xms", "<vor_process_list><vor_process_entry");
  service_.reset();
  state_.reset();
  storageState_.reset();
  updates_.reset();
  host_.tracer->Clear();
  StartService();
  EXPECT_TRUE(host_.tracer->Contains("vor: Can't update vor process list from storage with error 0x"));
  EXPECT_EQ(CheckPid(static_cast<std::uint32_t>(child.pid()), critical), 0u);
  EXPECT_FALSE(critical);
}

}  // namespace
}  // namespace vor::testing
