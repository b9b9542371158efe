// Output helpers shared by the commands. Standard output goes through one
// buffer over descriptor 1 whose write errors are kept, so that output that
// could not be written is an error of the tool, not a silent loss.
#ifndef VOR_TOOLS_VORCTL_OUTPUT_H_
#define VOR_TOOLS_VORCTL_OUTPUT_H_

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace vorctl {

// Objects keep their keys in the order the commands write them, as documented.
using Json = nlohmann::ordered_json;

// The one output rule for text: a name, path, release text or message is
// shown with every control byte, backslash and byte of invalid UTF-8 escaped
// (\n, \x1b, \\, ... as vor/utf.h writes them), so that no name forges a
// line or steers a terminal. Out() << Shown{path}; the Print* functions
// below show their whole message so. JSON keeps its own escaping.
struct Shown {
  std::string_view text;
};
std::ostream& operator<<(std::ostream& out, Shown shown);
// `text` as Shown writes it.
std::string ShownText(std::string_view text);

// Standard output, buffered; text written after a failed write is dropped.
std::ostream& Out();
// Appends `text` to standard output's buffer: the fast path of bulk answers.
void Write(std::string_view text);
void Write(Shown shown);
// Writes out what is buffered; false (errno in `error`) when any write failed.
bool FlushOutput(int& error);

// "0x" and eight lower-case hex digits.
std::string FormatResult(std::uint32_t code);
// The module's text of a result code.
std::string ResultMessage(std::uint32_t code);
// `value` as one line; invalid UTF-8 is replaced, never thrown on.
std::string JsonLine(const Json& value);
void PrintJson(const Json& value);
// "vorctl: <what>: <message> (0x........)" on stderr, shown as above.
void PrintModuleFailure(std::string_view what, std::uint32_t code);
// As above for a C library error number: its words and the module's code for it.
void PrintErrnoFailure(std::string_view what, int error);
// "vorctl: <message>" on stderr: usage errors and notes, no failure.
void PrintError(std::string_view message);
// "vorctl: warning: <message>" on stderr.
void PrintWarning(std::string_view message);

}  // namespace vorctl

#endif  // VOR_TOOLS_VORCTL_OUTPUT_H_
