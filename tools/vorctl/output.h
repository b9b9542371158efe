// Output helpers shared by the commands.
#ifndef VOR_TOOLS_VORCTL_OUTPUT_H_
#define VOR_TOOLS_VORCTL_OUTPUT_H_

#include <cstdint>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace vorctl {

// Objects keep their keys in the order the commands write them, as documented.
using Json = nlohmann::ordered_json;

// "0x" and eight lower-case hex digits.
std::string FormatResult(std::uint32_t code);
// Prints `value` on stdout as one line; invalid UTF-8 is replaced, never thrown on.
void PrintJson(const Json& value);
// "vorctl: <what>: <message> (0x........)" on stderr.
void PrintModuleFailure(std::string_view what, std::uint32_t code);
// "vorctl: <message>" on stderr.
void PrintError(std::string_view message);

}  // namespace vorctl

#endif  // VOR_TOOLS_VORCTL_OUTPUT_H_
