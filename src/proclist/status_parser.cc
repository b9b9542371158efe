// The parser of /proc/<pid>/status. Process names are chosen by whoever
// starts a process, so any byte may turn up; a line that does not read as
// "name:value" is dropped and the rest still counts.
#include "proclist/status_parser.h"

#include "proclist/process_info.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"

namespace vor {
namespace {

// Only tabs: the kernel writes a name, a colon and a tab, and spaces may
// belong to a value.
std::string_view TrimTabs(std::string_view text) {
  while (!text.empty() && text.front() == '\t') text.remove_prefix(1);
  while (!text.empty() && text.back() == '\t') text.remove_suffix(1);
  return text;
}

// Digits from the first byte on; stops before a digit that would overflow.
std::uint32_t ReadId(std::string_view value) {
  std::uint32_t id = 0;
  for (char c : value) {
    if (c < '0' || c > '9') break;
    const std::uint32_t digit = static_cast<std::uint32_t>(c - '0');
    if (id > (kNoPid - digit) / 10) break;
    id = id * 10 + digit;
  }
  return id;
}

}  // namespace

zel::result_t ParseStatusLine(const zel::Tracer& trace, std::string_view line, StatusField& field) {
  try {
    field = StatusField{};
    if (line.empty()) return zel::kErrInvalidArgument;

    std::string_view pieces[2];
    std::size_t count = 0;
    std::size_t start = 0;
    while (start <= line.size()) {
      std::size_t colon = line.find(':', start);
      if (colon == std::string_view::npos) colon = line.size();
      if (colon > start) {
        if (count < 2) pieces[count] = line.substr(start, colon - start);
        ++count;
      }
      start = colon + 1;
    }
    if (count != 2) {
      ZEL_TRACE(trace, zel::kTraceError)
          << "Invalid values count <" << count << "> for line <" << line << ">";
      return zel::kErrUnexpected;
    }
    const std::string_view name = TrimTabs(pieces[0]);
    const std::string_view value = TrimTabs(pieces[1]);
    if (name.empty()) {
      ZEL_TRACE(trace, zel::kTraceError) << "Line <" << line << "> has empty name";
      return zel::kErrUnexpected;
    }
    if (value.empty()) {
      ZEL_TRACE(trace, zel::kTraceError) << "Line <" << line << "> has empty value";
      return zel::kErrUnexpected;
    }
    field = StatusField{name, value};
    ZEL_TRACE(trace, zel::kTraceDebug) << "   <" << name << "> = <" << value << ">";
    return zel::kOk;
  } catch (...) {
    return zel::ResultFromCurrentException(trace, "Exception caught at line 121 => ");
  }
}

zel::result_t ParseStatusText(const zel::Tracer& trace, std::string_view content,
                              StatusFields& fields) {
  try {
    fields.clear();
    if (content.empty()) return zel::kErrInvalidArgument;
    std::size_t start = 0;
    while (start < content.size()) {
      std::size_t end = content.find('\n', start);
      if (end == std::string_view::npos) end = content.size();
      if (end > start) {
        StatusField field;
        if (zel::Succeeded(ParseStatusLine(trace, content.substr(start, end - start), field))) {
          fields.push_back(field);
        }
      }
      start = end + 1;
    }
    return zel::kOk;
  } catch (...) {
    return zel::ResultFromCurrentException(trace, "Exception caught at line 167 => ");
  }
}

zel::result_t FindPidsInStatus(const zel::Tracer& trace, const StatusFields& fields,
                               std::uint32_t& pid, std::uint32_t& ppid) {
  pid = kNoPid;
  ppid = kNoPid;
  if (trace.sink() == nullptr || fields.empty()) return zel::kErrInvalidArgument;
  for (const StatusField& field : fields) {
    if (field.name == "Pid") {
      pid = ReadId(field.value);
    } else if (field.name == "PPid") {
      ppid = ReadId(field.value);
    }
  }
  if (pid == kNoPid || ppid == kNoPid) {
    ZEL_TRACE(trace, zel::kTraceError) << "Can't find PIDs in parsed process status!";
    return zel::kErrInvalidSignature;
  }
  return zel::kOk;
}

}  // namespace vor
