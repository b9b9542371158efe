#include "globals.h"

#include <charconv>

namespace vorctl {

std::optional<std::uint32_t> ParseTraceLevel(const std::string& text) {
  if (text == "error") return 300;
  if (text == "warning") return 500;
  if (text == "info") return 700;
  if (text == "debug") return 800;
  std::uint32_t level = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), level);
  if (ec != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return level;
}

}  // namespace vorctl
