#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "osinfo/release_parser.h"
#include "tests/testing_host/fake_file_factory.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

using testing::FakeFileFactory;
using testing::TestingHost;

const std::vector<std::u16string> kAllPaths = {
    u"/etc/os-release",      u"/etc/lsb-release",    u"/etc/system-release",
    u"/etc/SuSE-release",    u"/etc/gentoo-release", u"/etc/debian_version",
    u"/etc/redhat-release"};

class ReleaseSearchTest : public ::testing::Test {
 protected:
  zel::result_t Find() {
    name_.assign("stale");
    version_.assign("stale");
    return FindReleaseInfo(host_.locator.get(), files_.get(), name_, version_);
  }
  std::vector<std::string> Errors() const { return host_.tracer->lines(zel::kTraceError); }

  TestingHost host_;
  Ref<FakeFileFactory> files_ = host::MakeHostObject<FakeFileFactory>();
  zel::string name_{host_.allocator.get()};
  zel::string version_{host_.allocator.get()};
};

TEST_F(ReleaseSearchTest, NoFileAtAllTriesEveryPathInOrder) {
  EXPECT_EQ(Find(), 0x8000004cu);
  EXPECT_TRUE(name_.empty() && version_.empty());
  EXPECT_EQ(files_->opened(), kAllPaths);
  // Read access to an existing file, any sharing.
  EXPECT_EQ(files_->last_access(), 1u);
  EXPECT_EQ(files_->last_share(), 3u);
  EXPECT_EQ(files_->last_disposition(), 4u);
  EXPECT_EQ(files_->last_flags(), 0u);
  EXPECT_EQ(Errors(), (std::vector<std::string>{"rp: No one of predefined configs weren't found"}));
  const std::vector<std::string> info = host_.tracer->lines(zel::kTraceInfo);
  ASSERT_EQ(info.size(), 8u);
  EXPECT_EQ(info[0], "rp: Searching for OS release files...");
  EXPECT_EQ(info[1], "rp: Config file </etc/os-release> is absent");
  EXPECT_EQ(info[7], "rp: Config file </etc/redhat-release> is absent");
}

TEST_F(ReleaseSearchTest, FirstUsableFileWinsAndLaterOnesAreNotOpened) {
  files_->Add(u"/etc/os-release", "NAME=\"Ubuntu\"\nVERSION_ID=\"22.04\"\n");
  files_->Add(u"/etc/lsb-release", "DISTRIB_ID=Other\nDISTRIB_RELEASE=1\n");
  EXPECT_EQ(Find(), 0u);
  EXPECT_EQ(name_.view(), "Ubuntu");
  EXPECT_EQ(version_.view(), "22.04");
  EXPECT_EQ(files_->opened(), std::vector<std::u16string>{u"/etc/os-release"});
  EXPECT_EQ(host_.tracer->lines(zel::kTraceInfo).back(),
            "rp: Selected config is </etc/os-release> ");
  EXPECT_EQ(files_->live_streams(), 0);

  // A broken os-release (no NAME) falls back to lsb-release.
  host_.tracer->Clear();
  files_->Add(u"/etc/os-release", "ID=ubuntu\nVERSION_ID=22.04\n");
  EXPECT_EQ(Find(), 0u);
  EXPECT_EQ(name_.view(), "Other");
  EXPECT_TRUE(host_.tracer->Contains("rp: Can't find OS name in given os-release"));
  EXPECT_EQ(host_.tracer->lines(zel::kTraceInfo).back(),
            "rp: Selected config is </etc/lsb-release> ");
}

TEST_F(ReleaseSearchTest, ReadProblemsSkipTheFile) {
  files_->Add(u"/etc/os-release", "");
  files_->Add(u"/etc/lsb-release", "DISTRIB_ID=x\nDISTRIB_RELEASE=1\n").sizeResult = 0x80000059;
  files_->Add(u"/etc/system-release", "A release 1\n").readResult = 0x80000045;
  files_->Add(u"/etc/SuSE-release", "SLES 12\nVERSION = 12\n").readLimit = 5;
  files_->Add(u"/etc/gentoo-release", "Gentoo Base System release 2.14\n").reportedSize = 40;
  files_->Add(u"/etc/debian_version", "12.5\n");
  EXPECT_EQ(Find(), 0u);
  EXPECT_EQ(name_.view(), "Debian GNU/Linux");
  EXPECT_EQ(version_.view(), "12.5");
  EXPECT_EQ(Errors(), (std::vector<std::string>{
                          "rp: Config </etc/os-release> is empty",
                          "rp: Can't get size for config </etc/lsb-release> with error 0x80000059",
                          "rp: Can't read config </etc/system-release> with error 0x80000045",
                          "rp: Config </etc/SuSE-release> has been read partially (5 of 21)",
                          "rp: Config </etc/gentoo-release> has been read partially (32 of 40)",
                      }));
  // One read per file, never a retry.
  EXPECT_EQ(files_->reads(u"/etc/os-release"), 0);
  EXPECT_EQ(files_->reads(u"/etc/SuSE-release"), 1);
  EXPECT_EQ(files_->reads(u"/etc/gentoo-release"), 1);
  EXPECT_EQ(files_->live_streams(), 0);
}

TEST_F(ReleaseSearchTest, OpenAnswersAndSizesAtTheEdges) {
  // Any non-zero open answer means absent, even a non-failure; its stream is released.
  files_->Add(u"/etc/os-release", "NAME=x\nVERSION_ID=1\n").openResult = 1;
  // Only the low 32 bits of a size count.
  files_->Add(u"/etc/debian_version", "12\n").reportedSize = (std::uint64_t{1} << 32) + 3;
  EXPECT_EQ(Find(), 0u);
  EXPECT_EQ(version_.view(), "12");
  EXPECT_TRUE(host_.tracer->Contains("rp: Config file </etc/os-release> is absent"));
  EXPECT_EQ(files_->live_streams(), 0);

  // A size of exactly 4 GiB reads as zero bytes and is no usable release.
  files_->Add(u"/etc/debian_version", "12\n").reportedSize = std::uint64_t{1} << 32;
  EXPECT_EQ(Find(), 0x8000004cu);
  EXPECT_TRUE(name_.empty() && version_.empty());
}

TEST_F(ReleaseSearchTest, BadArgumentsAndMissingServices) {
  zel::string name("stale"), version("stale");
  EXPECT_EQ(FindReleaseInfo(nullptr, files_.get(), name, version), 0x80000046u);
  EXPECT_TRUE(name.empty() && version.empty());
  EXPECT_EQ(FindReleaseInfo(host_.locator.get(), nullptr, name, version), 0x80000046u);
  EXPECT_TRUE(files_->opened().empty());

  host_.locator->Refuse(zel::IAllocator::kIid, 0x80000042);
  EXPECT_EQ(Find(), 0x80000042u);
  ASSERT_EQ(Errors().size(), 1u);
  EXPECT_TRUE(Errors()[0].starts_with("rp: Exception caught at line 748 =>  ")) << Errors()[0];
  EXPECT_TRUE(files_->opened().empty());
}

TEST_F(ReleaseSearchTest, OutOfMemoryAnywhereLeavesNoLeakAndNoHalfResult) {
  files_->Add(u"/etc/os-release",
              "NAME=\"A distribution with a long name\"\nPRETTY_NAME=\"A long pretty name\"\n");
  files_->Add(u"/etc/lsb-release",
              "DISTRIB_ID=\"A distribution with a long name\"\nDISTRIB_RELEASE=\"2024.01.01-long\"\n");
  bool sawFailure = false;
  for (std::uint64_t n = 1; n < 60; ++n) {
    host_.allocator->FailAt(n);
    const zel::result_t code = Find();
    host_.allocator->FailNever();
    if (code == 0) {
      EXPECT_EQ(name_.view(), "A distribution with a long name");
      EXPECT_EQ(version_.view(), "2024.01.01-long");
    } else {
      sawFailure = true;
      EXPECT_TRUE(name_.empty() && version_.empty()) << n;
      EXPECT_TRUE(code == 0x80000041u || code == 0x8000004cu) << std::hex << code;
    }
    EXPECT_EQ(files_->live_streams(), 0);
  }
  EXPECT_TRUE(sawFailure);
  name_.clear();
  name_.shrink_to_fit();
  version_.clear();
  version_.shrink_to_fit();
  EXPECT_EQ(host_.allocator->live_blocks(), 0);
}

}  // namespace
}  // namespace vor
