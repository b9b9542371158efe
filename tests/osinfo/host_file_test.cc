// The reference host's file access: a descriptor as a stream, and the factory
// the release search opens files with (which trees of data/ also go through).
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <string>
#include <variant>

#include "host/lumo_file_factory.h"
#include "host/posix_file.h"
#include "tests/osinfo/temp_tree.h"

namespace vor::host {
namespace {

TEST(PosixFileTest, EverySlotOverADescriptor) {
  const testing::TempTree dir;
  const std::string path = (dir.root / "data").string();
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(fd, 0);
  {
    const Ref<zel::IIo> io = PosixFile::Adopt(fd);
    ASSERT_TRUE(io);
    std::uint32_t count = 0;
    std::uint64_t value = 0;
    char buffer[16] = {};
    EXPECT_EQ(io->Write("hello world", 11, &count), 0u);
    EXPECT_EQ(count, 11u);
    EXPECT_EQ(io->Seek(-5, zel::IIo::kSeekEnd, &value), 0u);
    EXPECT_EQ(value, 6u);
    EXPECT_EQ(io->Read(buffer, sizeof buffer, &count), 0u);  // stops at the end of file
    EXPECT_EQ(std::string(buffer, count), "world");
    EXPECT_EQ(io->Seek(0, zel::IIo::kSeekBegin, nullptr), 0u);
    EXPECT_EQ(io->Seek(2, zel::IIo::kSeekCurrent, &value), 0u);
    EXPECT_EQ(value, 2u);
    EXPECT_EQ(io->Read(buffer, 3, nullptr), 0u);
    EXPECT_EQ(std::string(buffer, 3), "llo");
    // Bad arguments, and EINVAL from the system, come back as this one code.
    for (const zel::result_t code :
         {io->Seek(0, 3, &value), io->Seek(-1, zel::IIo::kSeekBegin, nullptr),
          io->Read(nullptr, 1, &count), io->GetSize(nullptr), io->SetSize(~std::uint64_t{0})}) {
      EXPECT_EQ(code, zel::kErrInvalidArgument);
    }
    EXPECT_EQ(io->SetSize(4), 0u);
    EXPECT_EQ(io->GetSize(&value), 0u);
    EXPECT_EQ(value, 4u);
  }
  EXPECT_EQ(::fcntl(fd, F_GETFD), -1);  // the last reference closed the descriptor
  EXPECT_EQ(std::filesystem::file_size(path), 4u);
  EXPECT_FALSE(PosixFile::Adopt(-1));
  const Ref<zel::IIo> reader = PosixFile::Adopt(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  std::uint32_t written = 7;
  EXPECT_EQ(reader->Write("x", 1, &written), zel::kErrInvalidHandle);  // EBADF
  EXPECT_EQ(written, 0u);
}

// Opens for reading as the release search does: the whole content, or the failure code.
std::variant<std::string, zel::result_t> ReadAll(LumoFileFactory* factory, const std::string& path) {
  Ref<zel::IIo> io;
  const std::u16string wide(path.begin(), path.end());
  if (const zel::result_t code = factory->Open(wide.c_str(), 1, 3, 4, 0, io.put())) return code;
  std::uint64_t size = 0;
  std::uint32_t got = 0;
  EXPECT_EQ(io->GetSize(&size), 0u);
  std::string content(size, '\0');
  EXPECT_EQ(io->Read(content.data(), static_cast<std::uint32_t>(size), &got), 0u);
  return content.substr(0, got);
}

TEST(LumoFileFactoryTest, OpensOnlyRegularFilesAndOnlyInsideItsRoot) {
  const testing::TempTree dir;
  const std::string top = dir.root.string();
  dir.Add("root/etc/os-release", "NAME=x\n");
  dir.Add("root/etc/loop", "loop", "link");
  dir.Add("root/fifo", "", "fifo");
  dir.Add("outside", "SECRET=1\n");
  zel::result_t code = 1;
  const Ref<LumoFileFactory> open = LumoFileFactory::Create("/", &code);
  EXPECT_EQ(code, 0u);
  const Ref<LumoFileFactory> root = LumoFileFactory::Create(top + "/root", &code);
  ASSERT_TRUE(open && root);
  EXPECT_FALSE(open->confined());
  EXPECT_TRUE(root->confined());
  // A directory, a FIFO without a writer and a device are refused, at once.
  const struct {
    LumoFileFactory* factory;
    std::string path;
    std::variant<std::string, zel::result_t> expected;
  } cases[] = {
      {open.get(), top + "/root/etc/os-release", "NAME=x\n"},
      {open.get(), top + "/missing", zel::kErrFileNotFound},
      {open.get(), "no/such/relative", zel::kErrFileNotFound},
      {open.get(), "", zel::kErrInvalidPathName},
      {open.get(), top, zel::kErrAccessDenied},
      {open.get(), top + "/root/fifo", zel::kErrAccessDenied},
      {open.get(), "/dev/null", zel::kErrAccessDenied},
      {root.get(), "/etc/../etc/os-release", "NAME=x\n"},
      {root.get(), "/../../outside", zel::kErrFileNotFound},
      {root.get(), "/etc/loop", zel::kErrInvalidState},  // ELOOP
      {root.get(), "/etc", zel::kErrAccessDenied},
      {root.get(), "etc/os-release", zel::kErrInvalidPathName},
  };
  for (const auto& c : cases) EXPECT_EQ(ReadAll(c.factory, c.path), c.expected) << c.path;

  // Only reading an existing file is offered; share modes beyond read/write are invalid.
  zel::IIo* io = reinterpret_cast<zel::IIo*>(0x1);
  const char16_t* file = u"/etc/os-release";
  EXPECT_EQ(root->Open(file, 2, 3, 4, 0, &io), zel::kErrNotImplemented);
  EXPECT_EQ(io, nullptr);
  EXPECT_EQ(root->Open(file, 1, 3, 1, 0, &io), zel::kErrNotImplemented);
  EXPECT_EQ(root->Open(file, 1, 8, 4, 0, &io), zel::kErrInvalidArgument);
  EXPECT_EQ(root->Open(file, 1, 3, 4, 1, &io), zel::kErrInvalidArgument);
  EXPECT_EQ(root->Open(nullptr, 1, 3, 4, 0, &io), zel::kErrInvalidArgument);
  EXPECT_EQ(root->Open(file, 1, 3, 4, 0, nullptr), zel::kErrInvalidArgument);
  EXPECT_EQ(root->Open(u"/etc/\xd800x", 1, 3, 4, 0, &io), zel::kErrInvalidSymbol);
  Ref<zel::IIo> opened;  // read-only sharing is as good as read/write sharing: POSIX has none
  EXPECT_EQ(root->Open(file, 1, 1, 4, 0, opened.put()), 0u);
  EXPECT_FALSE(LumoFileFactory::Create(top + "/none", &code));
  EXPECT_EQ(code, zel::kErrFileNotFound);
  EXPECT_FALSE(LumoFileFactory::Create(top + "/outside", &code));
  EXPECT_EQ(code, zel::kErrPathNotFound);  // ENOTDIR
}

}  // namespace
}  // namespace vor::host
