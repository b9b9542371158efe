// The parser of /proc/<pid>/status: "Name:\tvalue" lines, and the two IDs
// the decision needs from them.
#ifndef VOR_PROCLIST_STATUS_PARSER_H_
#define VOR_PROCLIST_STATUS_PARSER_H_

#include <cstdint>
#include <string_view>
#include <vector>

#include "runtime/trace.h"
#include "vor/result.h"

namespace vor {

// One "Name:\tvalue" line of a status file; views into the caller's buffer.
struct StatusField {
  std::string_view name;
  std::string_view value;
};
using StatusFields = std::vector<StatusField>;

// Cuts status text into lines and parses each; bad lines are dropped.
zel::result_t ParseStatusText(const zel::Tracer& trace, std::string_view content,
                              StatusFields& fields);
// One "name:value" line, both sides trimmed of tabs only.
zel::result_t ParseStatusLine(const zel::Tracer& trace, std::string_view line, StatusField& field);
// Picks "Pid" and "PPid" out of parsed fields; the last occurrence wins.
zel::result_t FindPidsInStatus(const zel::Tracer& trace, const StatusFields& fields,
                               std::uint32_t& pid, std::uint32_t& ppid);

}  // namespace vor

#endif  // VOR_PROCLIST_STATUS_PARSER_H_
