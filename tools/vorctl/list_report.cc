#include "list_report.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <utility>

#include <pugixml.hpp>

#include "vor/result.h"
#include "vor/session.h"

namespace vorctl {
namespace {

using EntryKey = std::pair<std::uint32_t, std::uint32_t>;  // list, entry: the module's numbering

// The elements as the module counts them: top-level elements, and the
// element children of each, with the line each starts on.
struct Shape {
  struct List {
    std::uint32_t line = 0;
    std::string name;
    struct Entry {
      std::uint32_t line;
      std::string name;
      std::string flags;  // the attribute as written, for the reason of a refusal
    };
    std::vector<Entry> entries;
  };
  bool parsed = false;
  std::vector<List> lists;
};

Shape ShapeOf(std::string_view text) {
  Shape shape;
  pugi::xml_document document;
  if (!document.load_buffer(text.data(), text.size(), pugi::parse_default)) return shape;
  // Line starts, to turn the parser's offsets into lines.
  std::vector<std::size_t> starts{0};
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\n') starts.push_back(i + 1);
  }
  const auto lineOf = [&](const pugi::xml_node& node) {
    const auto offset = static_cast<std::size_t>(node.offset_debug());
    const auto after = std::upper_bound(starts.begin(), starts.end(), offset);
    return static_cast<std::uint32_t>(after - starts.begin());
  };
  shape.parsed = true;
  for (const pugi::xml_node list : document.children()) {
    if (list.type() != pugi::node_element) continue;
    Shape::List& added = shape.lists.emplace_back();
    added.line = lineOf(list);
    added.name = list.name();
    for (const pugi::xml_node entry : list.children()) {
      if (entry.type() != pugi::node_element) continue;
      added.entries.push_back({lineOf(entry), entry.name(), entry.attribute("flags").value()});
    }
  }
  return shape;
}

// "... list L entry E ..." in a module line: the numbers after `words`.
bool ListAndEntry(std::string_view line, std::string_view words, EntryKey& key) {
  const std::size_t at = line.find(words);
  if (at == std::string_view::npos) return false;
  std::string_view rest = line.substr(at + words.size());
  const auto first = std::from_chars(rest.data(), rest.data() + rest.size(), key.first);
  rest.remove_prefix(static_cast<std::size_t>(first.ptr - rest.data()));
  if (first.ec != std::errc() || !rest.starts_with(" entry ")) return false;
  rest.remove_prefix(7);
  return std::from_chars(rest.data(), rest.data() + rest.size(), key.second).ec == std::errc();
}

// The module's words for a refused entry, with the flags as written when
// they are what is wrong, and the text of the code it gives.
std::string Reason(const Shape::List::Entry& entry, std::string_view words) {
  std::string reason;
  if (words.find("flags") != std::string_view::npos) reason = "flags=\"" + entry.flags + "\": ";
  if (entry.name != "vor_process_entry") reason += "<" + entry.name + ">: ";
  reason += words;
  const std::size_t hex = words.rfind("0x");
  std::uint32_t code = 0;
  if (hex != std::string_view::npos &&
      std::from_chars(words.data() + hex + 2, words.data() + words.size(), code, 16).ec == std::errc()) {
    reason += " (" + std::string(vor_result_message(code)) + ")";
  }
  return reason;
}

std::string_view Words(std::string_view line) {
  return line.starts_with("vor: ") ? line.substr(5) : line;
}

}  // namespace

ListReport ReportOnList(std::string_view document, const std::vector<std::string>& moduleLines,
                        const std::vector<std::string>& takenEntries, std::uint32_t refusedCode) {
  const Shape shape = ShapeOf(document);
  std::map<EntryKey, std::string> refused;  // by validation: the module's words, detail first
  std::map<EntryKey, std::string> skipped;  // by the read
  std::map<EntryKey, std::size_t> taken;    // index into `takenEntries`
  std::map<EntryKey, std::uint64_t> flags;
  std::string detail;  // validation lines waiting for the entry they are about
  bool reading = false;
  std::uint32_t list = 0;
  for (const std::string& text : moduleLines) {
    const std::string_view line = Words(text);
    EntryKey key;
    if (line.starts_with("Parsing vor process list ")) {
      reading = true;
      std::from_chars(line.data() + 25, line.data() + line.size(), list);
    } else if (!reading && ListAndEntry(line, "Can't validate vor process list ", key)) {
      refused[key] = detail.empty() ? std::string(line) : detail + "; " + std::string(line);
      detail.clear();
    } else if (!reading && (line.starts_with("Can't get ") || line.starts_with("Empty ") ||
                            line == "Invalid vor list entry node name!")) {
      detail = line;
    } else if (reading && line.starts_with("    ")) {
      // "    N) flags <0xF>, path <P>, parent path <Q>"
      std::uint32_t number = 0;
      const std::string_view body = line.substr(4);
      const auto parsed = std::from_chars(body.data(), body.data() + body.size(), number);
      if (parsed.ec != std::errc() || number == 0) continue;
      key = {list, number - 1};
      const std::size_t index = taken.size();
      taken[key] = index;
      const std::size_t hex = line.find("flags <0x");
      std::uint64_t value = 0;
      if (hex != std::string_view::npos) std::from_chars(line.data() + hex + 9, line.data() + line.size(), value, 16);
      flags[key] = value;
    } else if (reading && (ListAndEntry(line, "process list ", key))) {
      skipped[key] = line;
    }
  }

  ListReport report;
  if (refusedCode != 0) {
    const bool blank = document.find_first_not_of(" \t\r\n") == std::string_view::npos;
    if (refusedCode == VOR_E_INVALID_SIGNATURE) {
      report.reason = "not well-formed XML";
    } else if (blank) {
      report.reason = "the file is empty";
    } else if (shape.parsed && shape.lists.empty()) {
      report.reason = "the document holds no element";
    } else if (shape.parsed && refusedCode == VOR_E_INVALID_SIZE) {
      std::string wrong;
      bool anyList = false;
      for (const Shape::List& l : shape.lists) {
        anyList = anyList || l.name == "vor_process_list";
        wrong += (wrong.empty() ? "" : ", ") + ("line " + std::to_string(l.line) + ": <" + l.name + ">");
      }
      report.reason = anyList ? "no entry is valid (each is named below)"
                              : "no top-level element is a vor_process_list (" + wrong + ")";
    }
  }
  for (std::uint32_t l = 0; l < shape.lists.size(); ++l) {
    const Shape::List& element = shape.lists[l];
    if (element.name != "vor_process_list") {
      report.rows.push_back({element.line, ReportRow::kWarning,
                             "<" + element.name + "> is not a vor_process_list (Invalid vor process list node name!)"});
    }
    for (std::uint32_t e = 0; e < element.entries.size(); ++e) {
      const EntryKey key{l, e};
      const Shape::List::Entry& entry = element.entries[e];
      const std::uint32_t at = entry.line;
      if (const auto it = taken.find(key); it != taken.end()) {
        if (it->second < takenEntries.size()) report.rows.push_back({at, ReportRow::kTaken, takenEntries[it->second]});
        if (const auto why = refused.find(key); why != refused.end()) {
          report.rows.push_back({at, ReportRow::kWarning, "read although validation refused it: " + why->second});
        }
        if ((flags[key] & 3) == 0) {
          report.rows.push_back({at, ReportRow::kWarning,
                                 "flags=\"" + entry.flags + "\" hold neither path bit (1 or 2): the module "
                                 "keeps this entry, and it makes every process critical"});
        }
      } else if (const auto skip = skipped.find(key); skip != skipped.end()) {
        report.rows.push_back({at, ReportRow::kSkipped, Reason(entry, skip->second)});
      } else if (const auto why = refused.find(key); why != refused.end()) {
        report.rows.push_back({at, ReportRow::kSkipped, Reason(entry, why->second)});
      }
    }
  }
  return report;
}

}  // namespace vorctl
