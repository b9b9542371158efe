// The harmless test sample: a file named qz_special_detection_test_trojana
// holding exactly "Velmorant Lab vor test file" is reported critical, so that
// a host's handling of critical files can be tried without a real system file.
#include <cstring>
#include <string_view>

#include "module/criticality_service.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"
#include "runtime/whole_file.h"

namespace vor {
namespace {

constexpr std::u16string_view kSampleName = u"qz_special_detection_test_trojana";
constexpr std::string_view kSampleContent = "Velmorant Lab vor test file";
static_assert(kSampleContent.size() == 27);

}  // namespace

bool Corvane::DetectTestSample(std::u16string_view path) {
  try {
    return DetectTestSampleSteps(path);
  } catch (...) {
    zel::ResultFromCurrentException(trace_, "Exception caught at line 477 => ");
    return false;
  }
}

bool Corvane::DetectTestSampleSteps(std::u16string_view path) {
  // A path without a file name is answered as critical: nothing may act on it.
  if (path.empty()) return true;
  const std::size_t slash = path.rfind(u'/');
  const std::u16string_view name = slash == std::u16string_view::npos ? path : path.substr(slash + 1);
  if (name.empty()) return true;
  if (name != kSampleName) return false;

  // The path came from a NUL-terminated host string, so it can be handed on.
  const zel::u16string terminated(path, allocator_.get());
  char content[kSampleContent.size()] = {};
  const std::int64_t got = zel::ReadWholeFile(
      fileFactory_.get(), terminated.c_str(), zel::ILumoFileFactory::kShareRead, /*rewind=*/true,
      [&content](std::uint64_t size) { return size == sizeof content ? content : nullptr; },
      [&](zel::ReadStep step, zel::result_t code, std::uint32_t) {
        const char* what = step == zel::ReadStep::kOpen    ? "Can't open test file <"
                           : step == zel::ReadStep::kSize  ? "Can't get size for test file <"
                           : step == zel::ReadStep::kSeek  ? "Can't seek to begin for test file <"
                           : step == zel::ReadStep::kRead  ? "Can't read test file <"
                                                           : "Can't read full test file <";
        ZEL_TRACE(trace_, zel::kTraceError) << what << path << "> with error 0x" << zel::Hex{code};
      });
  if (got != static_cast<std::int64_t>(sizeof content)) return false;
  if (std::memcmp(content, kSampleContent.data(), sizeof content) != 0) return false;
  ZEL_TRACE(trace_, zel::kTraceInfo) << "Test sample " << 1 << " was detected in <" << path << ">";
  return true;
}

}  // namespace vor
