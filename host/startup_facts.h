// What the module says of itself while an instance starts (Init and Verify),
// read from its lines as they come and kept as a few fields: the OS release,
// the library directories, the outcome of loading the process list, the
// first error lines. Nothing is allocated while lines arrive, so no line is
// lost to a failed allocation, and a list of a million entries costs a
// counter, not a million kept lines.
#ifndef VOR_HOST_STARTUP_FACTS_H_
#define VOR_HOST_STARTUP_FACTS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/session_tracer.h"
#include "vor/result.h"

namespace vor::host {

// A text of at most N - 1 bytes, held in place.
template <std::size_t N>
class FixedText {
 public:
  void assign(std::string_view text) noexcept {
    length_ = text.size() < N ? text.size() : N - 1;
    text.copy(text_.data(), length_);
  }
  std::string_view view() const noexcept { return {text_.data(), length_}; }

 private:
  std::array<char, N> text_{};
  std::size_t length_ = 0;
};

class StartupFacts final : public SessionTracer::LineSink {
 public:
  static constexpr std::size_t kMaxDirectories = 8;
  static constexpr std::size_t kMaxErrors = 4;

  void Take(std::uint32_t level, std::string_view line) noexcept override;

  // The OS release the module found, or why it found none.
  zel::result_t releaseResult() const { return releaseResult_; }
  std::string_view releaseName() const { return releaseName_.view(); }
  std::string_view releaseVersion() const { return releaseVersion_.view(); }
  std::vector<std::string> libraryDirectories() const;

  // The process list: whether the module said it took the document, its
  // failure code otherwise (VOR_E_FILE_NOT_FOUND: there is none), and the
  // entries it took.
  bool listTaken() const { return listTaken_; }
  zel::result_t listFailure() const { return listFailure_; }
  std::uint32_t listEntries() const { return listEntries_; }

  // The first error lines (level 300), as written.
  std::vector<std::string> errors() const;
  // The lines the fields above were read from, and the error lines, in the
  // order written: at most kMaxKept.
  std::vector<std::string> keptLines() const;
  static constexpr std::size_t kMaxKept = 16;

 private:
  void Keep(std::string_view line) noexcept;

  zel::result_t releaseResult_ = VOR_E_UNEXPECTED;
  FixedText<256> releaseName_;
  FixedText<256> releaseVersion_;
  std::array<FixedText<128>, kMaxDirectories> directories_;
  std::size_t directoryCount_ = 0;
  bool listTaken_ = false;
  zel::result_t listFailure_ = VOR_OK;
  std::uint32_t listEntries_ = 0;
  std::array<std::uint8_t, kMaxErrors> errors_{};  // indexes into kept_
  std::size_t errorCount_ = 0;
  std::array<FixedText<512>, kMaxKept> kept_;
  std::size_t keptCount_ = 0;
};

}  // namespace vor::host

#endif  // VOR_HOST_STARTUP_FACTS_H_
