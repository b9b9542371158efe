// Validation and extraction of the XML critical process list.
#include "proclist/process_list_config.h"

#include <gtest/gtest.h>

#include "runtime/result.h"
#include "tests/xmllists/xml_fixture.h"

namespace vor {
namespace {

const std::string kNoItems = "\nNo vor process list items in config!";
const std::string kNotValid = kNoItems + "\nCan't validate config with error 0x8000005c";
// One good entry keeps validation happy; "other" is read by extraction only.
const std::string kGoodAndOther =
    "<vor_process_list><vor_process_entry flags=\"1\" path=\"/ok\"/></vor_process_list><other>"
    "<x flags=\"1\" path=\"/from_other\"/><x flags=\"nope\"/><x flags=\"1\" path=\"\"/>"
    "<x flags=\"3\" path=\"/p\"/><x flags=\"2\" parent_path=\"\"/></other>";

// Reads `text` over stale entries; returns the code and "flags:path:parent"
// of each entry read, joined by spaces.
std::pair<zel::result_t, std::string> Read(testing::XmlListHost& host, const std::string& text) {
  host.tracer->Clear();
  CriticalProcessEntries entries(1);
  entries[0].path.assign("stale");
  const zel::result_t code =
      ReadProcessList(zel::Tracer(Ref<zel::ITracer>(host.tracer.get()), "vor: "),
                      host.locator.get(), testing::MemoryStream(text).get(), entries);
  std::string read;
  for (const CriticalProcessEntry& e : entries) {
    if (!read.empty()) read += ' ';
    read.append(std::to_string(e.flags)).append(":").append(e.path.view()).append(":").append(
        e.parentPath.view());
  }
  return {code, read};
}

TEST(ProcessListConfig, EntriesAndTheirTraces) {
  testing::XmlListHost host;
  // Paths are read only where the flags call for them; flags 0 is refused.
  EXPECT_EQ(Read(host, "<vor_process_list>"
                       "<vor_process_entry flags=\"1\" path=\"/usr/sbin/sshd\" parent_path=\"/u\"/>"
                       "<vor_process_entry flags=\"0\"/>"
                       "<vor_process_entry flags=\"0x13\" path=\"/a\" parent_path=\"/b\"/>"
                       "</vor_process_list>"
                       "<vor_process_list><vor_process_entry flags=\"4\"/></vor_process_list>"),
            std::pair(zel::kOk, std::string("1:/usr/sbin/sshd: 19:/a:/b 4::")));
  EXPECT_EQ(host.tracer->lines(zel::kTraceInfo),
            (std::vector<std::string>{
                "vor: Parsing vor process list 0...",
                "vor:     1) flags <0x1>, path </usr/sbin/sshd>, parent path <>",
                "vor:     3) flags <0x13>, path </a>, parent path </b>", "vor: Done",
                "vor: Parsing vor process list 1...",
                "vor:     1) flags <0x4>, path <>, parent path <>", "vor: Done"}));
  EXPECT_EQ(host.Errors(), "Invalid flags!\nInvalid flags for process list 0 entry 1");

  host.locator->Refuse(zel::IXmlFactory::kIid);
  EXPECT_EQ(Read(host, "<vor_process_list/>").first, zel::kErrNotFound);
  EXPECT_EQ(host.Errors(), "Can't get xml factory with error 0x8000004c");
  EXPECT_EQ(ValidateProcessList(zel::Tracer(), nullptr), zel::kErrInvalidArgument);
}

// Each row pins the code, the entries left and the error lines; a failed
// read leaves no entries behind.
TEST(ProcessListConfig, DocumentsAndHostFailures) {
  struct Case {
    std::string xml;
    testing::NodeFailures failures;
    zel::result_t code;
    std::string entries;
    std::string errors;
  };
  const Case cases[] = {
      {"", {}, zel::kErrInvalidSize, "",
       "No vor process list in config!\nCan't validate config with error 0x8000005c"},
      {"<vor_process_list><vor_process_entry flags=\"1\" path=\"/x\">", {}, zel::kErrInvalidSignature, "",
       "Can't open config with error 0x8000005a"},
      {"<vor_list><vor_process_entry flags=\"1\" path=\"/x\"/></vor_list>", {},
       zel::kErrInvalidSize, "", "Invalid vor process list node name!" + kNotValid},
      {"<vor_process_list><vor_entry flags=\"1\" path=\"/x\"/><vor_process_entry path=\"/x\"/>"
       "<vor_process_entry flags=\"2\"/></vor_process_list>",
       {}, zel::kErrInvalidSize, "",
       "Invalid vor list entry node name!\n"
       "Can't validate vor process list 0 entry 0 with error 0x8000004a\n"
       "Can't get flags with error 0x8000004c\n"
       "Can't validate vor process list 0 entry 1 with error 0x8000004c\n"
       "Can't get parent path with error 0x8000004c\n"
       "Can't validate vor process list 0 entry 2 with error 0x8000004c" + kNotValid},
      {"<vor_process_list><vor_process_entry flags=\"-1\"/>"
       "<vor_process_entry flags=\"99999999999999999999\"/>"
       "<vor_process_entry flags=\"2\" path=\"/p\" parent_path=\"\"/>"
       "<vor_process_entry flags=\"1\" path=\"\"/></vor_process_list>",
       {}, zel::kErrInvalidSize, "",
       "Can't get flags with error 0x8000005d\n"
       "Can't validate vor process list 0 entry 0 with error 0x8000005d\n"
       "Can't get flags with error 0x80000077\n"
       "Can't validate vor process list 0 entry 1 with error 0x80000077\n"
       "Empty parent path!\nCan't validate vor process list 0 entry 2 with error 0x80010109\n"
       "Empty path!\nCan't validate vor process list 0 entry 3 with error 0x80010109" + kNotValid},
      // Extraction reads every top-level node and skips bad entries.
      {kGoodAndOther, {}, zel::kOk, "1:/ok: 1:/from_other:",
       "Invalid vor process list node name!\n"
       "Can't get flags from process list 1 entry 1 with error 0x8000005d\n"
       "Empty path for vor process list 1 entry 2\n"
       "Can't get parent path vor process list 1 entry 3 with error 0x8000004c\n"
       "Empty parent path for vor process list 1 entry 4"},
      // Host node failures, each traced and skipped.
      {kGoodAndOther, {"", "other", ""}, zel::kOk, "1:/ok:",
       "Invalid vor process list node name!\n"
       "Can't get vor process list 0x1 entry count with error 0x80000059"},
      {kGoodAndOther, {"other", "", "vor_process_list"}, zel::kErrInvalidSize, "",
       "Can't get vor process list 0 entry 0 with error 0x80000059\n"
       "Can't get vor process list node name 1 with error 0x80000059" + kNotValid},
      {kGoodAndOther, {"", "#document", ""}, zel::kErrMedia, "",
       "Can't get vor process list count with error 0x80000059\n"
       "Can't validate config with error 0x80000059"},
  };
  for (const Case& c : cases) {
    testing::XmlListHost host;
    host.xml->failures = c.failures;
    EXPECT_EQ(Read(host, c.xml), std::pair(c.code, c.entries)) << c.xml;
    EXPECT_EQ(host.Errors(), c.errors) << c.xml;
  }
}

TEST(ProcessListFlags, DecimalOrHexAndNothingAround) {
  std::uint64_t flags = 9;
  for (const auto& [text, value] : {std::pair<const char*, std::uint64_t>{"3", 3}, {"0xFF", 255},
                                    {"18446744073709551615", ~0ull}}) {
    EXPECT_EQ(ParseEntryFlags(text, flags), zel::kOk);
    EXPECT_EQ(flags, value);
  }
  for (const char* bad : {"", " 1", "1 ", "+1", "0x", "1x", "one", "0x-1"}) {
    EXPECT_EQ(ParseEntryFlags(bad, flags), zel::kErrInvalidType) << bad;
    EXPECT_EQ(flags, 0u);
  }
  EXPECT_EQ(ParseEntryFlags("18446744073709551616", flags), zel::kErrOverflow);
}

}  // namespace
}  // namespace vor
