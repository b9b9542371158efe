#include "host/startup_facts.h"

#include <charconv>

namespace vor::host {
namespace {

// `line` as `before` + X + `after`: X; false for any other shape.
bool Between(std::string_view line, std::string_view before, std::string_view after,
             std::string_view& out) {
  if (!line.starts_with(before) || line.size() < before.size() + after.size() ||
      !line.ends_with(after)) {
    return false;
  }
  out = line.substr(before.size(), line.size() - before.size() - after.size());
  return true;
}

// The hexadecimal code after `before`; false when the line does not begin so.
bool CodeAfter(std::string_view line, std::string_view before, zel::result_t& code) {
  if (!line.starts_with(before)) return false;
  code = VOR_E_UNEXPECTED;
  const std::string_view digits = line.substr(before.size());
  std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
  return true;
}

}  // namespace

void StartupFacts::Keep(std::string_view line) noexcept {
  if (keptCount_ < kMaxKept) kept_[keptCount_++].assign(line);
}

void StartupFacts::Take(std::uint32_t level, std::string_view line) noexcept {
  std::string_view value;
  bool fact = true;
  if (Between(line, "vor: Host OS name <", ">", value)) {
    const std::size_t split = value.rfind(">, version <");
    fact = split != std::string_view::npos;
    if (fact) {
      releaseResult_ = VOR_OK;
      releaseName_.assign(value.substr(0, split));
      releaseVersion_.assign(value.substr(split + 12));
    }
  } else if (CodeAfter(line, "vor: Can't get OS release info with error 0x", releaseResult_)) {
    releaseName_.assign({});
    releaseVersion_.assign({});
  } else if (Between(line, "vor: Library directory <", "> is existing", value)) {
    if (directoryCount_ < kMaxDirectories) directories_[directoryCount_++].assign(value);
  } else if (line.starts_with("vor:     ") && line.find(") flags <0x") != std::string_view::npos) {
    ++listEntries_;  // each entry taken into the process list: "    N) flags <0x..>, ..."
    fact = false;    // counted, not kept: a list may have a million
  } else if (line == "vor: vor process list update status is ok") {
    listTaken_ = true;
  } else {
    fact = CodeAfter(line, "vor: Can't update vor process list from storage with error 0x", listFailure_);
  }
  if (level <= 300 && errorCount_ < kMaxErrors && keptCount_ < kMaxKept) {
    errors_[errorCount_++] = static_cast<std::uint8_t>(keptCount_);
    Keep(line);
  } else if (fact) {
    Keep(line);
  }
}

std::vector<std::string> StartupFacts::libraryDirectories() const {
  std::vector<std::string> out;
  for (std::size_t i = 0; i < directoryCount_; ++i) out.emplace_back(directories_[i].view());
  return out;
}

std::vector<std::string> StartupFacts::errors() const {
  std::vector<std::string> out;
  for (std::size_t i = 0; i < errorCount_; ++i) out.emplace_back(kept_[errors_[i]].view());
  return out;
}

std::vector<std::string> StartupFacts::keptLines() const {
  std::vector<std::string> out;
  for (std::size_t i = 0; i < keptCount_; ++i) out.emplace_back(kept_[i].view());
  return out;
}

}  // namespace vor::host
