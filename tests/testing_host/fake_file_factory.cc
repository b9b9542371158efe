#include "tests/testing_host/fake_file_factory.h"

#include <algorithm>
#include <cstring>

namespace vor::testing {
namespace {

constexpr zel::result_t kOk = 0;
using zel::kErrFileNotFound, zel::kErrInvalidArgument, zel::kErrNotImplemented;

// A stream over a snapshot of one fake file.
class FakeIo final : public host::HostObject<zel::IIo> {
 public:
  FakeIo(FakeFile file, std::shared_ptr<int> reads, std::shared_ptr<int> live)
      : file_(std::move(file)), reads_(std::move(reads)), live_(std::move(live)) {
    ++*live_;
  }
  ~FakeIo() override { --*live_; }

  zel::result_t Read(void* buffer, std::uint32_t size, std::uint32_t* bytesRead) override {
    ++*reads_;
    if (bytesRead != nullptr) *bytesRead = 0;
    if (file_.readResult != kOk) return file_.readResult;
    const std::size_t count = std::min<std::size_t>(size, file_.content.size() - position_);
    if (count != 0) std::memcpy(buffer, file_.content.data() + position_, count);
    position_ += count;
    if (bytesRead != nullptr) *bytesRead = static_cast<std::uint32_t>(count);
    return kOk;
  }
  zel::result_t Write(const void*, std::uint32_t, std::uint32_t*) override {
    return kErrNotImplemented;
  }
  zel::result_t Seek(std::int64_t offset, std::uint32_t origin, std::uint64_t* position) override {
    std::int64_t base = 0;
    if (origin == zel::IIo::kSeekCurrent) {
      base = static_cast<std::int64_t>(position_);
    } else if (origin == zel::IIo::kSeekEnd) {
      base = static_cast<std::int64_t>(file_.content.size());
    } else if (origin != zel::IIo::kSeekBegin) {
      return kErrInvalidArgument;
    }
    const std::int64_t target = base + offset;
    if (target < 0) return kErrInvalidArgument;
    position_ = std::min<std::size_t>(static_cast<std::size_t>(target), file_.content.size());
    if (position != nullptr) *position = position_;
    return kOk;
  }
  zel::result_t SetSize(std::uint64_t) override { return kErrNotImplemented; }
  zel::result_t GetSize(std::uint64_t* size) override {
    *size = 0;
    if (file_.sizeResult != kOk) return file_.sizeResult;
    *size = file_.reportedSize.value_or(file_.content.size());
    return kOk;
  }

 private:
  FakeFile file_;
  std::size_t position_ = 0;
  std::shared_ptr<int> reads_;
  std::shared_ptr<int> live_;
};

}  // namespace

FakeFileFactory::FakeFileFactory() = default;

FakeFile& FakeFileFactory::Add(const std::u16string& path, std::string content) {
  Entry& entry = files_[path];
  entry.file = FakeFile{};
  entry.file.content = std::move(content);
  return entry.file;
}

zel::result_t FakeFileFactory::Open(const char16_t* path, std::uint32_t access,
                                    std::uint32_t share, std::uint32_t disposition,
                                    std::uint32_t flags, zel::IIo** out) {
  *out = nullptr;
  opened_.emplace_back(path);
  lastModes_ = {access, share, disposition, flags};
  const auto found = files_.find(path);
  if (found == files_.end()) return kErrFileNotFound;
  const Entry& entry = found->second;
  // A host may answer non-zero and still hand out a stream; the caller must
  // release it all the same.
  *out = new FakeIo(entry.file, entry.reads, liveStreams_);
  if (entry.file.openResult != kOk) return entry.file.openResult;
  return kOk;
}

int FakeFileFactory::reads(const std::u16string& path) const {
  const auto found = files_.find(path);
  return found == files_.end() ? 0 : *found->second.reads;
}

}  // namespace vor::testing
