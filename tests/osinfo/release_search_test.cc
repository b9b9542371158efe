#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "osinfo/release_parser.h"
#include "tests/testing_host/fake_file_factory.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

using Lines = std::vector<std::string>;

class ReleaseSearchTest : public ::testing::Test {
 protected:
  zel::result_t Find() {
    name_.assign("stale");
    version_.assign("stale");
    return FindReleaseInfo(host_.locator.get(), files_.get(), name_, version_);
  }
  Lines Errors() const { return host_.tracer->lines(zel::kTraceError); }
  Lines Info() const { return host_.tracer->lines(zel::kTraceInfo); }

  testing::TestingHost host_;
  Ref<testing::FakeFileFactory> files_ = host::MakeHostObject<testing::FakeFileFactory>();
  zel::string name_{host_.allocator.get()};
  zel::string version_{host_.allocator.get()};
};

TEST_F(ReleaseSearchTest, NoFileAtAllTriesEveryPathInOrder) {
  EXPECT_EQ(Find(), zel::kErrNotFound);
  EXPECT_TRUE(name_.empty() && version_.empty());
  EXPECT_EQ(files_->opened(),
            (std::vector<std::u16string>{u"/etc/os-release", u"/etc/lsb-release",
                                         u"/etc/system-release", u"/etc/SuSE-release",
                                         u"/etc/gentoo-release", u"/etc/debian_version",
                                         u"/etc/redhat-release"}));
  // Read access to an existing file, any sharing.
  EXPECT_EQ(files_->last_modes(), (std::array<std::uint32_t, 4>{1, 3, 4, 0}));
  EXPECT_EQ(Errors(), Lines{"rp: No one of predefined configs weren't found"});
  const Lines info = Info();
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
  EXPECT_EQ(Info().back(), "rp: Selected config is </etc/os-release> ");

  // A broken os-release (no NAME) falls back to lsb-release.
  host_.tracer->Clear();
  files_->Add(u"/etc/os-release", "ID=ubuntu\nVERSION_ID=22.04\n");
  EXPECT_EQ(Find(), 0u);
  EXPECT_EQ(name_.view(), "Other");
  EXPECT_TRUE(host_.tracer->Contains("rp: Can't find OS name in given os-release"));
  EXPECT_EQ(Info().back(), "rp: Selected config is </etc/lsb-release> ");
  EXPECT_EQ(files_->live_streams(), 0);
}

// Every file but the last misbehaves in its own way; the search goes on each time.
TEST_F(ReleaseSearchTest, ProblemsWithAFileSkipIt) {
  // Any non-zero open answer means absent, even a non-failure; its stream is released.
  files_->Add(u"/etc/os-release", "NAME=x\nVERSION_ID=1\n").openResult = 1;
  files_->Add(u"/etc/lsb-release", "");
  files_->Add(u"/etc/system-release", "A release 1\n").sizeResult = zel::kErrMedia;
  files_->Add(u"/etc/SuSE-release", "SLES 12\nVERSION = 12\n").readResult = zel::kErrAccessDenied;
  files_->Add(u"/etc/gentoo-release", "Gentoo Base System release 2.14\n").reportedSize = 40;
  // Only the low 32 bits of a size count: exactly 4 GiB reads as nothing usable,
  // 4 GiB and 33 bytes as the 33 bytes the file holds.
  files_->Add(u"/etc/debian_version", "12\n").reportedSize = std::uint64_t{1} << 32;
  files_->Add(u"/etc/redhat-release", "Fedora release 38 (Thirty Eight)\n").reportedSize =
      (std::uint64_t{1} << 32) + 33;
  EXPECT_EQ(Find(), 0u);
  EXPECT_EQ(name_.view(), "Fedora");
  EXPECT_EQ(version_.view(), "38");
  EXPECT_EQ(Errors(), (Lines{
                          "rp: Config </etc/lsb-release> is empty",
                          "rp: Can't get size for config </etc/system-release> with error 0x80000059",
                          "rp: Can't read config </etc/SuSE-release> with error 0x80000045",
                          "rp: Config </etc/gentoo-release> has been read partially (32 of 40)",
                      }));
  EXPECT_EQ(Info()[1], "rp: Config file </etc/os-release> is absent");
  EXPECT_EQ(Info().back(), "rp: Selected config is </etc/redhat-release> ");
  // One read per file, never a retry.
  EXPECT_EQ(files_->reads(u"/etc/os-release"), 0);
  EXPECT_EQ(files_->reads(u"/etc/lsb-release"), 0);
  EXPECT_EQ(files_->reads(u"/etc/gentoo-release"), 1);
  EXPECT_EQ(files_->live_streams(), 0);
}

TEST_F(ReleaseSearchTest, BadArgumentsAndMissingServices) {
  zel::string name("stale"), version("stale");
  EXPECT_EQ(FindReleaseInfo(nullptr, files_.get(), name, version), zel::kErrInvalidArgument);
  EXPECT_TRUE(name.empty() && version.empty());
  EXPECT_EQ(FindReleaseInfo(host_.locator.get(), nullptr, name, version), zel::kErrInvalidArgument);

  host_.locator->Refuse(zel::IAllocator::kIid, zel::kErrNotSupported);
  EXPECT_EQ(Find(), zel::kErrNotSupported);
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
      EXPECT_TRUE(code == zel::kErrOutOfMemory || code == zel::kErrNotFound) << std::hex << code;
    }
    EXPECT_EQ(files_->live_streams(), 0);
  }
  EXPECT_TRUE(sawFailure);
  for (zel::string* text : {&name_, &version_}) {
    text->clear();
    text->shrink_to_fit();
  }
  EXPECT_EQ(host_.allocator->live_blocks(), 0);
}

}  // namespace
}  // namespace vor
