// The reference host's file access: a descriptor as a stream, and the factory
// the release search opens files with.
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <new>
#include <string>

#include "host/lumo_file_factory.h"
#include "host/posix_file.h"

// While set, the nothrow allocations of the code under test fail, as on an
// exhausted heap.
static bool g_refuseNothrow = false;
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (g_refuseNothrow) return nullptr;
  try {
    return ::operator new(size);  // the plain one, which operator delete pairs with
  } catch (...) {
    return nullptr;
  }
}

namespace vor::host {
namespace {

TEST(PosixFileTest, EverySlotOverADescriptor) {
  char path[] = "/tmp/vor_posix_file_XXXXXX";
  const int fd = ::mkstemp(path);
  ASSERT_GE(fd, 0);
  {
    const Ref<zel::IIo> io = PosixFile::Adopt(fd, kMaxLumoFileBytes);
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
  EXPECT_FALSE(PosixFile::Adopt(-1, kMaxLumoFileBytes));
  const Ref<zel::IIo> reader = PosixFile::Adopt(::open(path, O_RDONLY | O_CLOEXEC), kMaxLumoFileBytes);
  std::uint32_t written = 7;
  EXPECT_EQ(reader->Write("x", 1, &written), zel::kErrInvalidHandle);  // EBADF
  EXPECT_EQ(written, 0u);
  ::unlink(path);
}

// A file read through a cap: whole up to it, refused past it, also when it
// grew after it was opened. The caps of real files are rows of
// data/release_trees.txt.
TEST(PosixFileTest, ReadsStopAtTheCap) {
  char path[] = "/tmp/vor_posix_cap_XXXXXX";
  const int writer = ::mkstemp(path);
  ASSERT_GE(writer, 0);
  const Ref<zel::IIo> io = PosixFile::Adopt(::open(path, O_RDONLY | O_CLOEXEC), 8);
  ::unlink(path);
  ASSERT_TRUE(io);
  ASSERT_EQ(::write(writer, "12345678", 8), 8);
  std::uint64_t size = 0;
  char buffer[16] = {};
  std::uint32_t got = 9;
  EXPECT_EQ(io->GetSize(&size), 0u);
  EXPECT_EQ(size, 8u);
  EXPECT_EQ(io->Read(buffer, sizeof buffer, &got), 0u) << "a file exactly at its cap is whole";
  EXPECT_EQ(std::string(buffer, got), "12345678");
  ASSERT_EQ(::write(writer, "9", 1), 1);
  ::close(writer);
  EXPECT_EQ(io->GetSize(&size), PosixFile::kTooBig);
  EXPECT_EQ(io->Read(buffer, sizeof buffer, &got), PosixFile::kTooBig);
  EXPECT_EQ(got, 0u);
  ASSERT_EQ(io->Seek(4, zel::IIo::kSeekBegin, nullptr), 0u);
  EXPECT_EQ(io->Read(buffer, 4, &got), 0u) << "reads that stay below the cap go on";
  ASSERT_EQ(io->Seek(4, zel::IIo::kSeekBegin, nullptr), 0u);
  EXPECT_EQ(io->Read(buffer, sizeof buffer, &got), PosixFile::kTooBig);
  EXPECT_EQ(std::string(buffer, got), "5678") << "the bytes up to the cap arrive";
}

TEST(LumoFileFactoryTest, NoMemoryIsAFailureNotAFactory) {
  for (const char* root : {"/", "/tmp"}) {
    zel::result_t code = zel::kOk;
    g_refuseNothrow = true;
    const Ref<LumoFileFactory> factory = LumoFileFactory::Create(root, &code);
    g_refuseNothrow = false;
    EXPECT_FALSE(factory) << root;
    EXPECT_EQ(code, zel::kErrOutOfMemory) << root;
  }
}

// The rest of the factory's refusals are rows of data/release_trees.txt.
TEST(LumoFileFactoryTest, RefusesBadArgumentsAndRootsThatAreNoDirectory) {
  zel::result_t code = 1;
  const Ref<LumoFileFactory> factory = LumoFileFactory::Create("/", &code);
  ASSERT_TRUE(factory);
  EXPECT_EQ(code, 0u);
  zel::IIo* io = reinterpret_cast<zel::IIo*>(0x1);
  EXPECT_EQ(factory->Open(u"/etc/\xd800x", 1, 3, 4, 0, &io), zel::kErrInvalidSymbol);
  EXPECT_EQ(io, nullptr);
  EXPECT_EQ(factory->Open(u"", 1, 3, 4, 0, &io), zel::kErrInvalidPathName);
  EXPECT_EQ(factory->Open(u"no/such/relative", 1, 3, 4, 0, &io), zel::kErrFileNotFound);
  EXPECT_EQ(factory->Open(nullptr, 1, 3, 4, 0, &io), zel::kErrInvalidArgument);
  EXPECT_EQ(factory->Open(u"/etc", 1, 3, 4, 0, nullptr), zel::kErrInvalidArgument);
  EXPECT_FALSE(LumoFileFactory::Create("/nonexistent/vor", &code));
  EXPECT_EQ(code, zel::kErrFileNotFound);
  EXPECT_FALSE(LumoFileFactory::Create("/dev/null", &code));
  EXPECT_EQ(code, zel::kErrPathNotFound);  // ENOTDIR
}

}  // namespace
}  // namespace vor::host
