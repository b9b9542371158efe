// What validate-proc-list says of each entry of a document: the line it
// stands on (vorctl's own reading of the text) beside the module's words for
// it (its own trace lines of validating and reading the document).
#ifndef VOR_TOOLS_VORCTL_LIST_REPORT_H_
#define VOR_TOOLS_VORCTL_LIST_REPORT_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorctl {

struct ReportRow {
  std::uint32_t line = 0;  // in the file, from 1; 0 when not known
  enum Kind { kTaken, kSkipped, kWarning } kind = kTaken;
  std::string text;  // the entry ("flags 0x1  path /usr/sbin/sshd") or the reason
};

struct ListReport {
  std::string reason;  // why the whole document is refused, in words; "" when it is not
  std::vector<ReportRow> rows;
};

// `document` is the file's text; `moduleLines` the module's lines (prefix
// "vor: " included) of validating and reading it; `taken` the entries the
// module took, in order, as text; `refusedCode` the result of the whole
// when it was refused, else 0.
ListReport ReportOnList(std::string_view document, const std::vector<std::string>& moduleLines,
                        const std::vector<std::string>& taken, std::uint32_t refusedCode);

}  // namespace vorctl

#endif  // VOR_TOOLS_VORCTL_LIST_REPORT_H_
