#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <string>
#include <variant>

#include "host/lumo_file_factory.h"
#include "host/posix_file.h"
#include "tests/osinfo/temp_tree.h"

namespace vor::host {
namespace {

namespace fs = std::filesystem;
using testing::TempTree;

// Opens for reading as the release search does and returns the whole content,
// or the open's failure code.
std::variant<std::string, zel::result_t> ReadAll(LumoFileFactory& factory,
                                                 const std::u16string& path) {
  Ref<zel::IIo> io;
  const zel::result_t code = factory.Open(path.c_str(), 1, 3, 4, 0, io.put());
  if (code != 0) return code;
  std::uint64_t size = 0;
  EXPECT_EQ(io->GetSize(&size), 0u);
  std::string content(size, '\0');
  std::uint32_t got = 0;
  EXPECT_EQ(io->Read(content.data(), static_cast<std::uint32_t>(size), &got), 0u);
  EXPECT_EQ(got, size);
  return content;
}

TEST(PosixFileTest, EverySlotOverADescriptor) {
  TempTree dir;
  const fs::path path = dir.root / "data";
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(fd, 0);
  {
    Ref<zel::IIo> io = PosixFile::Adopt(fd);
    ASSERT_TRUE(io);
    std::uint32_t written = 0;
    EXPECT_EQ(io->Write("hello world", 11, &written), 0u);
    EXPECT_EQ(written, 11u);
    std::uint64_t value = 0;
    EXPECT_EQ(io->Seek(-5, zel::IIo::kSeekEnd, &value), 0u);
    EXPECT_EQ(value, 6u);
    char buffer[16] = {};
    std::uint32_t got = 0;
    EXPECT_EQ(io->Read(buffer, sizeof buffer, &got), 0u);  // stops at the end of file
    EXPECT_EQ(std::string(buffer, got), "world");

    EXPECT_EQ(io->Seek(0, zel::IIo::kSeekBegin, nullptr), 0u);
    EXPECT_EQ(io->Seek(2, zel::IIo::kSeekCurrent, &value), 0u);
    EXPECT_EQ(value, 2u);
    EXPECT_EQ(io->Read(buffer, 3, nullptr), 0u);
    EXPECT_EQ(std::string(buffer, 3), "llo");

    EXPECT_EQ(io->Seek(0, 3, &value), zel::kErrInvalidArgument);
    EXPECT_EQ(io->Seek(-1, zel::IIo::kSeekBegin, nullptr), zel::kErrInvalidArgument);  // EINVAL
    EXPECT_EQ(io->Read(nullptr, 1, &got), zel::kErrInvalidArgument);
    EXPECT_EQ(io->GetSize(nullptr), zel::kErrInvalidArgument);

    EXPECT_EQ(io->SetSize(4), 0u);
    EXPECT_EQ(io->GetSize(&value), 0u);
    EXPECT_EQ(value, 4u);
    EXPECT_EQ(io->SetSize(~std::uint64_t{0}), zel::kErrInvalidArgument);
  }
  // The last reference closed the descriptor.
  EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(fs::file_size(path), 4u);
  EXPECT_FALSE(PosixFile::Adopt(-1));

  // A read-only descriptor reports the write's errno as a code.
  Ref<zel::IIo> reader = PosixFile::Adopt(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_TRUE(reader);
  std::uint32_t written = 7;
  EXPECT_EQ(reader->Write("x", 1, &written), zel::kErrInvalidHandle);  // EBADF
  EXPECT_EQ(written, 0u);
}

TEST(LumoFileFactoryTest, OpensRegularFilesForReadingOnly) {
  TempTree dir;
  const std::u16string file = dir.Wide("etc/os-release");
  dir.Add("etc/os-release", "NAME=x\n");
  ASSERT_EQ(::mkfifo((dir.root / "fifo").c_str(), 0600), 0);
  zel::result_t code = 1;
  Ref<LumoFileFactory> factory = LumoFileFactory::Create("/", &code);
  ASSERT_TRUE(factory);
  EXPECT_EQ(code, 0u);
  EXPECT_FALSE(factory->confined());

  // A directory, a FIFO without a writer and a device are refused, at once.
  const struct {
    std::u16string path;
    std::variant<std::string, zel::result_t> expected;
  } cases[] = {
      {file, "NAME=x\n"}, {dir.Wide("missing"), zel::kErrFileNotFound},
      {u"no/such/relative", zel::kErrFileNotFound}, {u"", zel::kErrInvalidPathName},
      {u"/etc/\xd800x", zel::kErrInvalidSymbol}, {dir.Wide(""), zel::kErrAccessDenied},
      {dir.Wide("fifo"), zel::kErrAccessDenied}, {u"/dev/null", zel::kErrAccessDenied},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ReadAll(*factory.get(), c.path), c.expected)
        << std::string(c.path.begin(), c.path.end());
  }

  // Only reading an existing file is offered; share modes beyond read/write are invalid.
  zel::IIo* io = reinterpret_cast<zel::IIo*>(0x1);
  EXPECT_EQ(factory->Open(file.c_str(), 2, 3, 4, 0, &io), zel::kErrNotImplemented);
  EXPECT_EQ(io, nullptr);
  EXPECT_EQ(factory->Open(file.c_str(), 1, 3, 1, 0, &io), zel::kErrNotImplemented);
  EXPECT_EQ(factory->Open(file.c_str(), 1, 8, 4, 0, &io), zel::kErrInvalidArgument);
  EXPECT_EQ(factory->Open(nullptr, 1, 3, 4, 0, &io), zel::kErrInvalidArgument);
  EXPECT_EQ(factory->Open(file.c_str(), 1, 3, 4, 0, nullptr), zel::kErrInvalidArgument);
  // Read-only sharing is as good as read/write sharing: POSIX has none.
  Ref<zel::IIo> opened;
  ASSERT_EQ(factory->Open(file.c_str(), 1, 1, 4, 0, opened.put()), 0u);
}

TEST(LumoFileFactoryTest, RootConfinesPathsAndLinkTargets) {
  TempTree dir;
  dir.Add("outside", "SECRET=1\n");
  const fs::path root = dir.root / "root";
  dir.Add("root/usr/lib/os-release", "NAME=inside\n");
  dir.Add("root/etc/os-release", "->../usr/lib/os-release");  // relative
  dir.Add("root/etc/lsb-release", "->/usr/lib/os-release");    // absolute
  dir.Add("root/etc/system-release", "->../../../outside");    // climbs out
  dir.Add("root/etc/SuSE-release", "->" + (dir.root / "outside").string());
  dir.Add("root/etc/loop-a", "->loop-b");
  dir.Add("root/etc/loop-b", "->loop-a");

  zel::result_t code = 1;
  Ref<LumoFileFactory> factory = LumoFileFactory::Create(root.string(), &code);
  ASSERT_TRUE(factory);
  EXPECT_TRUE(factory->confined());
  const struct {
    std::u16string path;
    std::variant<std::string, zel::result_t> expected;
  } cases[] = {
      {u"/etc/os-release", "NAME=inside\n"},  {u"/etc/lsb-release", "NAME=inside\n"},
      {u"/usr/lib/../lib/os-release", "NAME=inside\n"},
      {u"/etc/system-release", zel::kErrFileNotFound}, {u"/etc/SuSE-release", zel::kErrFileNotFound},
      {u"/../../outside", zel::kErrFileNotFound}, {u"/etc/loop-a", zel::kErrInvalidState},  // ELOOP
      {u"/etc", zel::kErrAccessDenied}, {u"etc/os-release", zel::kErrInvalidPathName},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ReadAll(*factory.get(), c.path), c.expected)
        << std::string(c.path.begin(), c.path.end());
  }

  EXPECT_FALSE(LumoFileFactory::Create((dir.root / "none").string(), &code));
  EXPECT_EQ(code, zel::kErrFileNotFound);
  EXPECT_FALSE(LumoFileFactory::Create((dir.root / "outside").string(), &code));
  EXPECT_EQ(code, zel::kErrPathNotFound);  // ENOTDIR
}

}  // namespace
}  // namespace vor::host
