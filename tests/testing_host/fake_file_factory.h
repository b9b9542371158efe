// A lumo file factory over files held in memory, which can be told to fail
// an open, a size query or a read, or to deliver less than asked: the cases
// a real file system rarely produces on demand.
#ifndef VOR_TESTS_TESTING_HOST_FAKE_FILE_FACTORY_H_
#define VOR_TESTS_TESTING_HOST_FAKE_FILE_FACTORY_H_

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/host_object.h"
#include "vor/io.h"

namespace vor::testing {

struct FakeFile {
  std::string content;
  zel::result_t openResult = 0;  // anything but 0 means "not opened"
  zel::result_t sizeResult = 0;
  std::optional<std::uint64_t> reportedSize;  // GetSize answer instead of the content's
  zel::result_t readResult = 0;
  std::optional<std::uint32_t> readLimit;  // at most this many bytes per Read
};

class FakeFileFactory : public host::HostObject<zel::ILumoFileFactory> {
 public:
  FakeFileFactory();

  // Adds or replaces the file at `path`; the reference stays valid until the
  // next Add, so a test can tune how the file misbehaves.
  FakeFile& Add(const std::u16string& path, std::string content);

  zel::result_t Open(const char16_t* path, std::uint32_t access, std::uint32_t share,
                     std::uint32_t disposition, std::uint32_t flags, zel::IIo** out) override;

  // Every path asked for, in order, with the mode arguments of the last call.
  const std::vector<std::u16string>& opened() const { return opened_; }
  std::uint32_t last_access() const { return lastModes_[0]; }
  std::uint32_t last_share() const { return lastModes_[1]; }
  std::uint32_t last_disposition() const { return lastModes_[2]; }
  std::uint32_t last_flags() const { return lastModes_[3]; }
  // Read calls made on streams of `path`.
  int reads(const std::u16string& path) const;
  // Streams handed out and not yet released.
  int live_streams() const { return *liveStreams_; }

 private:
  struct Entry {
    FakeFile file;
    std::shared_ptr<int> reads = std::make_shared<int>(0);
  };
  std::map<std::u16string, Entry> files_;
  std::vector<std::u16string> opened_;
  std::uint32_t lastModes_[4] = {};
  std::shared_ptr<int> liveStreams_ = std::make_shared<int>(0);
};

}  // namespace vor::testing

#endif  // VOR_TESTS_TESTING_HOST_FAKE_FILE_FACTORY_H_
