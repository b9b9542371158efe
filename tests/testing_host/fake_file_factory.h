// A lumo file factory over files held in memory, which can be told to fail
// an open, a size query or a read, or to report another size than it holds:
// the cases a real file system rarely produces on demand.
#ifndef VOR_TESTS_TESTING_HOST_FAKE_FILE_FACTORY_H_
#define VOR_TESTS_TESTING_HOST_FAKE_FILE_FACTORY_H_

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/host_object.h"
#include "vor/io.h"
#include "vor/ref.h"

namespace vor::testing {

struct FakeFile {
  std::string content;
  zel::result_t openResult = 0;  // anything but 0 means "not opened"
  zel::result_t sizeResult = 0;
  std::optional<std::uint64_t> reportedSize;  // GetSize answer instead of the content's
  zel::result_t readResult = 0;
  int reads = 0;  // Read calls made on its streams
};

class FakeFileFactory : public host::HostObject<zel::ILumoFileFactory> {
 public:
  // Adds or replaces the file at `path`; a test tunes how it misbehaves through the reference.
  FakeFile& Add(const std::u16string& path, std::string content) {
    const auto& file = files_[path] = std::make_shared<FakeFile>();
    file->content = std::move(content);
    return *file;
  }

  // A stream over `content` alone, as if opened from a factory holding it;
  // its size queries answer `sizeResult`.
  static Ref<zel::IIo> StreamOver(std::string content, zel::result_t sizeResult = 0) {
    auto file = std::make_shared<FakeFile>();
    file->content = std::move(content);
    file->sizeResult = sizeResult;
    return Ref<zel::IIo>(host::MakeHostObject<Stream>(std::move(file)).get());
  }

  zel::result_t Open(const char16_t* path, std::uint32_t access, std::uint32_t share,
                     std::uint32_t disposition, std::uint32_t flags, zel::IIo** out) override {
    *out = nullptr;
    opened.emplace_back(path);
    lastModes = {access, share, disposition, flags};
    const auto found = files_.find(path);
    if (found == files_.end()) return zel::kErrFileNotFound;
    // A host may answer non-zero and still hand out a stream; the caller must release it all the same.
    *out = host::MakeHostObject<Stream>(found->second).detach();
    return found->second->openResult;
  }

  // Streams handed out and not yet released.
  long live_streams() const {
    long count = 0;
    for (const auto& [path, file] : files_) count += file.use_count() - 1;
    return count;
  }

  std::vector<std::u16string> opened;        // every path asked for, in order
  std::array<std::uint32_t, 4> lastModes{};  // access, share, disposition, flags of the last Open

 private:
  // Reads and seeks; nothing writes to a fake file.
  class Stream final : public host::HostObject<zel::IIo> {
   public:
    explicit Stream(std::shared_ptr<FakeFile> file) : file_(std::move(file)) {}
    zel::result_t Read(void* buffer, std::uint32_t size, std::uint32_t* done) override {
      ++file_->reads;
      const std::size_t count = file_->readResult != 0 ? 0 : std::min<std::size_t>(size, file_->content.size() - at_);
      if (count != 0) std::memcpy(buffer, file_->content.data() + at_, count);
      at_ += count;
      if (done != nullptr) *done = static_cast<std::uint32_t>(count);
      return file_->readResult;
    }
    zel::result_t GetSize(std::uint64_t* size) override {
      *size = file_->sizeResult != 0 ? 0 : file_->reportedSize.value_or(file_->content.size());
      return file_->sizeResult;
    }
    zel::result_t Write(const void*, std::uint32_t, std::uint32_t*) override { return zel::kErrNotImplemented; }
    zel::result_t Seek(std::int64_t offset, std::uint32_t origin, std::uint64_t* position) override {
      const std::size_t size = file_->content.size();
      const std::int64_t target = offset + static_cast<std::int64_t>(origin == kSeekCurrent ? at_ : origin == kSeekEnd ? size : 0);
      if (origin > kSeekEnd || target < 0) return zel::kErrInvalidArgument;
      at_ = std::min(static_cast<std::size_t>(target), size);
      if (position != nullptr) *position = at_;
      return 0;
    }
    zel::result_t SetSize(std::uint64_t) override { return zel::kErrNotImplemented; }

   private:
    std::shared_ptr<FakeFile> file_;
    std::size_t at_ = 0;
  };

  std::map<std::u16string, std::shared_ptr<FakeFile>> files_;
};

}  // namespace vor::testing

#endif  // VOR_TESTS_TESTING_HOST_FAKE_FILE_FACTORY_H_
