// explain CODE...: the text of each result code, given in hex (0x...) or decimal.
#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "output.h"

namespace vorctl {
namespace {

std::optional<std::uint32_t> ParseCode(const std::string& text) {
  std::string_view digits = text;
  int base = 10;
  if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    digits.remove_prefix(2);
    base = 16;
  }
  std::uint32_t code = 0;
  const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), code, base);
  if (digits.empty() || ec != std::errc() || end != digits.data() + digits.size()) {
    return std::nullopt;
  }
  return code;
}

// The module's text for every code it does not know.
const std::string kUnknownCode = "Unknown result code";

}  // namespace

void AddExplainCommand(CLI::App& app, const Globals& globals, int& status) {
  auto codes = std::make_shared<std::vector<std::string>>();
  CLI::App* command = app.add_subcommand("explain", "Print the text of result codes")
                          ->footer("Example: vorctl explain 0x8000006b 2147483718\n"
                                  "Exit status: 0, or 3 when a code is not one of the module's.");
  command->add_option("CODE", *codes, "a result code, hex (0x...) or decimal")->required();
  command->callback([&globals, &status, codes] {
    std::vector<std::uint32_t> parsed;
    for (const std::string& text : *codes) {
      const std::optional<std::uint32_t> code = ParseCode(text);
      if (!code) {
        PrintError("invalid result code '" + text + "': expected 0x and up to 8 hex digits, "
                   "or a decimal number below 4294967296");
        status = kExitUsage;
        return;
      }
      parsed.push_back(*code);
    }
    if (globals.json) {
      Json out = Json::array();
      for (std::uint32_t code : parsed) {
        out.push_back({{"code", FormatResult(code)},
                       {"message", ResultMessage(code)}});
      }
      PrintJson(out);
    } else {
      for (std::uint32_t code : parsed) {
        Out() << FormatResult(code) << "  " << ResultMessage(code) << '\n';
      }
    }
    // A code the module has no text for is a question that found no answer.
    status = kExitOk;
    for (std::uint32_t code : parsed) {
      if (ResultMessage(code) != kUnknownCode) continue;
      PrintModuleFailure("explain " + FormatResult(code) + ": not a result code of the module", code);
      status = kExitFailed;
    }
  });
}

}  // namespace vorctl
