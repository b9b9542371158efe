#include "output.h"

#include <cstdio>
#include <iostream>

#include "runtime/result.h"

namespace vorctl {

std::string FormatResult(std::uint32_t code) {
  char text[11];
  std::snprintf(text, sizeof text, "0x%08x", code);
  return text;
}

void PrintJson(const Json& value) {
  std::cout << value.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
}

void PrintModuleFailure(std::string_view what, std::uint32_t code) {
  std::cerr << "vorctl: " << what << ": " << zel::GetResultCodeMessage(code) << " ("
            << FormatResult(code) << ")\n";
}

void PrintError(std::string_view message) { std::cerr << "vorctl: " << message << '\n'; }

}  // namespace vorctl
