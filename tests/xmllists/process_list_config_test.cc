// Validation and extraction of the XML critical process list.
#include "proclist/process_list_config.h"

#include <gtest/gtest.h>

#include "runtime/result.h"
#include "tests/testing_host/testing_host.h"
#include "tests/xmllists/xml_fixture.h"

namespace vor {
namespace {

class ProcessListConfigTest : public ::testing::Test {
 protected:
  ProcessListConfigTest() : xml(host::MakeHostObject<host::XmlFactory>()) {
    host.Register(zel::IXmlFactory::kIid, xml.get());
  }

  zel::result_t Read(const std::string& text) {
    host.tracer->Clear();
    Ref<zel::IIo> stream = testing::MemoryStream(text);
    return ReadProcessList(trace, host.locator.get(), stream.get(), entries);
  }
  std::vector<std::string> Errors() const { return host.tracer->lines(zel::kTraceError); }

  testing::TestingHost host;
  Ref<host::XmlFactory> xml;
  zel::Tracer trace{Ref<zel::ITracer>(host.tracer.get()), "vor: "};
  CriticalProcessEntries entries;
};

TEST_F(ProcessListConfigTest, EntriesAndTheirTraces) {
  ASSERT_EQ(Read("<vor_process_list>"
                 "<vor_process_entry flags=\"1\" path=\"/usr/sbin/sshd\" parent_path=\"/unread\"/>"
                 "<vor_process_entry flags=\"0\"/>"
                 "<vor_process_entry flags=\"0x13\" path=\"/a\" parent_path=\"/b\"/>"
                 "</vor_process_list>"
                 "<vor_process_list><vor_process_entry flags=\"4\"/></vor_process_list>"),
            zel::kOk);
  ASSERT_EQ(entries.size(), 3u);
  EXPECT_EQ(entries[0].flags, 1u);
  EXPECT_EQ(entries[0].path.view(), "/usr/sbin/sshd");
  EXPECT_TRUE(entries[0].parentPath.empty());
  EXPECT_EQ(entries[1].flags, 0x13u);
  EXPECT_EQ(entries[1].parentPath.view(), "/b");
  EXPECT_EQ(entries[2].flags, 4u);
  EXPECT_EQ(host.tracer->lines(zel::kTraceInfo),
            (std::vector<std::string>{
                "vor: Parsing vor process list 0...",
                "vor:     1) flags <0x1>, path </usr/sbin/sshd>, parent path <>",
                "vor:     3) flags <0x13>, path </a>, parent path </b>", "vor: Done",
                "vor: Parsing vor process list 1...",
                "vor:     1) flags <0x4>, path <>, parent path <>", "vor: Done"}));
  EXPECT_EQ(Errors(), (std::vector<std::string>{"vor: Invalid flags!",
                                                "vor: Invalid flags for process list 0 entry 1"}));
}

TEST_F(ProcessListConfigTest, InvalidDocuments) {
  struct Case {
    std::string xml;
    zel::result_t code;
    std::vector<std::string> errors;
  };
  const std::string failed = "vor: Can't validate config with error 0x8000005c";
  const Case cases[] = {
      {"", zel::kErrInvalidSize, {"vor: No vor process list in config!", failed}},
      {"<vor_list><vor_process_entry flags=\"1\" path=\"/x\"/></vor_list>",
       zel::kErrInvalidSize,
       {"vor: Invalid vor process list node name!", "vor: No vor process list items in config!",
        failed}},
      {"<vor_process_list><vor_entry flags=\"1\" path=\"/x\"/></vor_process_list>",
       zel::kErrInvalidSize,
       {"vor: Invalid vor list entry node name!",
        "vor: Can't validate vor process list 0 entry 0 with error 0x8000004a",
        "vor: No vor process list items in config!", failed}},
      {"<vor_process_list><vor_process_entry path=\"/x\"/></vor_process_list>",
       zel::kErrInvalidSize,
       {"vor: Can't get flags with error 0x8000004c",
        "vor: Can't validate vor process list 0 entry 0 with error 0x8000004c",
        "vor: No vor process list items in config!", failed}},
      {"<vor_process_list><vor_process_entry flags=\"-1\"/>"
       "<vor_process_entry flags=\"99999999999999999999\"/></vor_process_list>",
       zel::kErrInvalidSize,
       {"vor: Can't get flags with error 0x8000005d",
        "vor: Can't validate vor process list 0 entry 0 with error 0x8000005d",
        "vor: Can't get flags with error 0x80000077",
        "vor: Can't validate vor process list 0 entry 1 with error 0x80000077",
        "vor: No vor process list items in config!", failed}},
      {"<vor_process_list><vor_process_entry flags=\"2\" path=\"/p\" parent_path=\"\"/>"
       "<vor_process_entry flags=\"1\" path=\"\"/></vor_process_list>",
       zel::kErrInvalidSize,
       {"vor: Empty parent path!",
        "vor: Can't validate vor process list 0 entry 0 with error 0x80010109",
        "vor: Empty path!",
        "vor: Can't validate vor process list 0 entry 1 with error 0x80010109",
        "vor: No vor process list items in config!", failed}},
      {"<vor_process_list><vor_process_entry flags=\"2\"/></vor_process_list>",
       zel::kErrInvalidSize,
       {"vor: Can't get parent path with error 0x8000004c",
        "vor: Can't validate vor process list 0 entry 0 with error 0x8000004c",
        "vor: No vor process list items in config!", failed}},
  };
  for (const Case& c : cases) {
    entries.resize(5);
    EXPECT_EQ(Read(c.xml), c.code) << c.xml;
    EXPECT_EQ(Errors(), c.errors) << c.xml;
    EXPECT_TRUE(entries.empty()) << c.xml;
  }
}

TEST_F(ProcessListConfigTest, ExtractionSkipsWhatValidationLetThrough) {
  // A valid list beside a wrongly named one: validation passes on the good
  // entry, extraction reads every top-level node and skips bad entries.
  Ref<zel::IXmlNode> doc;
  ASSERT_EQ(testing::OpenXml(*xml.get(),
                             "<vor_process_list><vor_process_entry flags=\"1\" path=\"/ok\"/>"
                             "</vor_process_list><other>"
                             "<x flags=\"1\" path=\"/from_other\"/>"
                             "<x flags=\"nope\"/><x flags=\"1\" path=\"\"/>"
                             "<x flags=\"3\" path=\"/p\"/><x flags=\"2\" parent_path=\"\"/>"
                             "</other>",
                             doc),
            0u);
  ASSERT_EQ(ValidateProcessList(trace, doc.get()), zel::kOk);
  host.tracer->Clear();
  ASSERT_EQ(ExtractProcessList(trace, doc.get(), entries), zel::kOk);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[1].path.view(), "/from_other");
  EXPECT_EQ(Errors(), (std::vector<std::string>{
                          "vor: Can't get flags from process list 1 entry 1 with error 0x8000005d",
                          "vor: Empty path for vor process list 1 entry 2",
                          "vor: Can't get parent path vor process list 1 entry 3 with error 0x8000004c",
                          "vor: Empty parent path for vor process list 1 entry 4"}));

  // Host node failures, each traced and skipped.
  host.tracer->Clear();
  Ref<zel::IXmlNode> failing = testing::FailingNode::Wrap(doc, {"", "other", ""});
  ASSERT_EQ(ExtractProcessList(trace, failing.get(), entries), zel::kOk);
  EXPECT_EQ(entries.size(), 1u);
  EXPECT_EQ(Errors(), std::vector<std::string>{
                          "vor: Can't get vor process list 0x1 entry count with error 0x80000059"});
  host.tracer->Clear();
  failing = testing::FailingNode::Wrap(doc, {"other", "", "vor_process_list"});
  ASSERT_EQ(ValidateProcessList(trace, failing.get()), zel::kErrInvalidSize);
  EXPECT_EQ(Errors(), (std::vector<std::string>{
                          "vor: Can't get vor process list 0 entry 0 with error 0x80000059",
                          "vor: Can't get vor process list node name 1 with error 0x80000059",
                          "vor: No vor process list items in config!"}));
  host.tracer->Clear();
  failing = testing::FailingNode::Wrap(doc, {"", "#document", ""});
  EXPECT_EQ(ValidateProcessList(trace, failing.get()), 0x80000059u);
  EXPECT_EQ(ExtractProcessList(trace, failing.get(), entries), 0x80000059u);
  EXPECT_EQ(Errors(), (std::vector<std::string>{
                          "vor: Can't get vor process list count with error 0x80000059",
                          "vor: Can't get vor list count with error 0x80000059"}));
  EXPECT_EQ(ValidateProcessList(trace, nullptr), zel::kErrInvalidArgument);
}

TEST(ProcessListFlags, Numbers) {
  std::uint64_t flags = 9;
  EXPECT_EQ(ParseEntryFlags("3", flags), zel::kOk);
  EXPECT_EQ(flags, 3u);
  EXPECT_EQ(ParseEntryFlags("0xFF", flags), zel::kOk);
  EXPECT_EQ(flags, 255u);
  EXPECT_EQ(ParseEntryFlags("18446744073709551615", flags), zel::kOk);
  EXPECT_EQ(flags, ~0ull);
  for (const char* bad : {"", " 1", "1 ", "+1", "0x", "1x", "one", "0x-1"}) {
    EXPECT_EQ(ParseEntryFlags(bad, flags), 0x8000005du) << bad;
    EXPECT_EQ(flags, 0u);
  }
  EXPECT_EQ(ParseEntryFlags("18446744073709551616", flags), 0x80000077u);
}

}  // namespace
}  // namespace vor
