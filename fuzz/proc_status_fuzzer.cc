// The /proc/<pid>/status parser: process names are chosen by whoever starts a
// process, so the text may hold any byte. Kept fields are trimmed, non-empty
// views into the input; the IDs found are the last Pid and PPid lines.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_host.h"
#include "proclist/process_info.h"
#include "proclist/status_parser.h"
#include "runtime/result.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vor::fuzz::FuzzHost& host = vor::fuzz::SharedHost();
  static const zel::Tracer trace(vor::Ref<zel::ITracer>(host.tracer.get()), "vor: ");

  const std::string_view content(reinterpret_cast<const char*>(data), size);
  vor::StatusFields fields;
  const zel::result_t code = vor::ParseStatusText(trace, content, fields);
  FUZZ_CHECK(code == (content.empty() ? zel::kErrInvalidArgument : zel::kOk));

  bool sawPid = false;
  bool sawPpid = false;
  for (const vor::StatusField& field : fields) {
    FUZZ_CHECK(!field.name.empty() && !field.value.empty());
    FUZZ_CHECK(field.name.data() >= content.data() &&
               field.value.data() + field.value.size() <= content.data() + content.size());
    FUZZ_CHECK(field.name.find_first_of(":\n") == std::string_view::npos);
    FUZZ_CHECK(field.value.find_first_of(":\n") == std::string_view::npos);
    FUZZ_CHECK(field.name.front() != '\t' && field.name.back() != '\t');
    FUZZ_CHECK(field.value.front() != '\t' && field.value.back() != '\t');
    sawPid = sawPid || field.name == "Pid";
    sawPpid = sawPpid || field.name == "PPid";
  }

  std::uint32_t pid = 0;
  std::uint32_t ppid = 0;
  const zel::result_t found = vor::FindPidsInStatus(trace, fields, pid, ppid);
  if (fields.empty()) {
    FUZZ_CHECK(found == zel::kErrInvalidArgument);
  } else if (zel::Succeeded(found)) {
    FUZZ_CHECK(sawPid && sawPpid && pid != vor::kNoPid && ppid != vor::kNoPid);
  } else {
    FUZZ_CHECK(found == zel::kErrInvalidSignature);
  }

  // A single line straight in, as the reader of one field would hand it over.
  vor::StatusField field;
  const zel::result_t line = vor::ParseStatusLine(trace, content, field);
  if (zel::Succeeded(line)) {
    FUZZ_CHECK(!field.name.empty() && !field.value.empty());
  } else {
    FUZZ_CHECK(field.name.empty() && field.value.empty());
  }
  return 0;
}
