// A lumo file factory over files held in memory, which can be told to fail
// an open, a size query or a read, or to report another size than it holds:
// the cases a real file system rarely produces on demand.
#ifndef VOR_TESTS_TESTING_HOST_FAKE_FILE_FACTORY_H_
#define VOR_TESTS_TESTING_HOST_FAKE_FILE_FACTORY_H_

#include <array>
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
};

class FakeFileFactory : public host::HostObject<zel::ILumoFileFactory> {
 public:
  FakeFileFactory();

  // Adds or replaces the file at `path`; the reference stays valid until the
  // next Add, so a test can tune how the file misbehaves.
  FakeFile& Add(const std::u16string& path, std::string content);

  zel::result_t Open(const char16_t* path, std::uint32_t access, std::uint32_t share,
                     std::uint32_t disposition, std::uint32_t flags, zel::IIo** out) override;

  // Every path asked for, in order, and the four mode arguments of the last
  // call (access, share, disposition, flags).
  const std::vector<std::u16string>& opened() const { return opened_; }
  const std::array<std::uint32_t, 4>& last_modes() const { return lastModes_; }
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
  std::array<std::uint32_t, 4> lastModes_ = {};
  std::shared_ptr<int> liveStreams_ = std::make_shared<int>(0);
};

}  // namespace vor::testing

#endif  // VOR_TESTS_TESTING_HOST_FAKE_FILE_FACTORY_H_
