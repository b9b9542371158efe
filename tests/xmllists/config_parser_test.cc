// VorConfigParser on XML critical file lists.
#include "filelist/vor_config_parser.h"

#include <memory>

#include <gtest/gtest.h>

#include "runtime/result.h"
#include "tests/testing_host/testing_host.h"
#include "tests/xmllists/xml_fixture.h"

namespace vor {
namespace {

class ConfigParserTest : public ::testing::Test {
 protected:
  ConfigParserTest() : xml(host::MakeHostObject<host::XmlFactory>()) {
    host.Register(zel::IXmlFactory::kIid, xml.get());
  }

  zel::result_t Parse(const std::string& text) {
    parser = std::make_unique<VorConfigParser>(host.locator.get());
    host.tracer->Clear();
    Ref<zel::IIo> stream = testing::MemoryStream(text);
    return parser->Init(stream.get());
  }
  std::vector<std::string> Paths() const {
    std::vector<std::string> out;
    for (const zel::string& p : parser->paths()) out.emplace_back(p.view());
    return out;
  }
  std::vector<std::string> Errors() const { return host.tracer->lines(zel::kTraceError); }

  testing::TestingHost host;
  Ref<host::XmlFactory> xml;
  std::unique_ptr<VorConfigParser> parser;
};

TEST_F(ConfigParserTest, GoodListsInDocumentOrder) {
  ASSERT_EQ(Parse("<vor_list><vor_entry path=\"/a\"/><vor_entry path=\"/b\"/></vor_list>"
                  "<vor_list><vor_entry path=\"/c\"/></vor_list>"),
            zel::kOk);
  EXPECT_EQ(Paths(), (std::vector<std::string>{"/a", "/b", "/c"}));
  EXPECT_EQ(host.tracer->lines(zel::kTraceInfo),
            (std::vector<std::string>{"vor: Begin config parser init...", "vor: Parsing vor list <0>...",
                                      "vor:     1) /a", "vor:     2) /b", "vor: Done",
                                      "vor: Parsing vor list <1>...", "vor:     1) /c", "vor: Done",
                                      "vor: Config parser init status is ok"}));
  EXPECT_TRUE(Errors().empty());
}

TEST_F(ConfigParserTest, DocumentLevelFailures) {
  EXPECT_EQ(Parse(""), zel::kErrInvalidSize);
  EXPECT_EQ(Errors(), (std::vector<std::string>{"vor: No vor list in config!",
                                                "vor: Can't validate config with error 0x8000005c"}));
  EXPECT_EQ(Parse("<other><vor_entry path=\"/a\"/></other>"), zel::kErrInvalidSize);
  EXPECT_EQ(Errors(), (std::vector<std::string>{"vor: Invalid vor list node name!",
                                                "vor: No vor list items in config!",
                                                "vor: Can't validate config with error 0x8000005c"}));
  EXPECT_EQ(Parse("<vor_list>"), host::XmlFactory::kParseError);
  EXPECT_EQ(Errors(), std::vector<std::string>{"vor: Can't open config with error 0x8000005a"});
  host.locator->Refuse(zel::IXmlFactory::kIid);
  EXPECT_EQ(Parse("<vor_list/>"), 0x8000004cu);
  EXPECT_EQ(Errors(), std::vector<std::string>{"vor: Can't get xml factory with error 0x8000004c"});
}

TEST_F(ConfigParserTest, LenientEntries) {
  // One good entry carries an empty one; extraction keeps the good path only.
  ASSERT_EQ(Parse("<vor_list><vor_entry path=\"\"/><vor_entry path=\"/ok\"/></vor_list>"), zel::kOk);
  EXPECT_EQ(Paths(), std::vector<std::string>{"/ok"});
  EXPECT_EQ(Errors(), (std::vector<std::string>{
                          "vor: Empty path!",
                          "vor: Can't validate vor list <0> entry <0> with error 0x80010109",
                          "vor: Empty path for vor list <0> entry <0>!"}));

  // A wrongly named entry passes validation unexamined; extraction reads it.
  ASSERT_EQ(Parse("<vor_list><odd path=\"/odd\"/></vor_list>"), zel::kOk);
  EXPECT_EQ(Paths(), std::vector<std::string>{"/odd"});
  EXPECT_EQ(Errors(), std::vector<std::string>{"vor: Invalid vor list entry node name!"});
  // ... but with no path at all it validates and then yields nothing.
  EXPECT_EQ(Parse("<vor_list><odd/></vor_list>"), zel::kErrInvalidSize);
  EXPECT_EQ(Errors(), (std::vector<std::string>{
                          "vor: Invalid vor list entry node name!",
                          "vor: Can't get path vor list <0> entry <0> with error 0x8000004c",
                          "vor: No vor list items in config!",
                          "vor: Can't extract vor list from config with error 0x8000005c"}));
  EXPECT_EQ(Parse("<vor_list><vor_entry/></vor_list>"), zel::kErrInvalidSize);
  EXPECT_EQ(Errors()[0], "vor: Can't get path with error 0x8000004c");
}

TEST_F(ConfigParserTest, HostNodeFailuresAreSkipped) {
  Ref<zel::IXmlNode> doc;
  ASSERT_EQ(testing::OpenXml(*xml.get(),
                             "<vor_list><vor_entry path=\"/a\"/></vor_list>"
                             "<bad_list><vor_entry path=\"/b\"/></bad_list>",
                             doc),
            0u);
  parser = std::make_unique<VorConfigParser>(host.locator.get());
  host.tracer->Clear();
  Ref<zel::IXmlNode> failing = testing::FailingNode::Wrap(doc, {"bad_list", "", ""});
  EXPECT_EQ(parser->Validate(failing.get()), zel::kOk);
  EXPECT_EQ(Errors(), std::vector<std::string>{
                          "vor: Can't get name from vor list node <1> with error 0x80000059"});
  host.tracer->Clear();
  failing = testing::FailingNode::Wrap(doc, {"", "vor_list", "bad_list"});
  EXPECT_EQ(parser->Validate(failing.get()), zel::kErrInvalidSize);
  EXPECT_EQ(Errors(), (std::vector<std::string>{
                          "vor: Can't get vor list <0> entry count with error 0x80000059",
                          "vor: Invalid vor list node name!", "vor: No vor list items in config!"}));
  host.tracer->Clear();
  failing = testing::FailingNode::Wrap(doc, {"", "", "vor_list"});
  EXPECT_EQ(parser->Extract(failing.get()), zel::kOk);
  EXPECT_EQ(Paths(), std::vector<std::string>{"/b"});  // Extract ignores names
  EXPECT_EQ(Errors(), std::vector<std::string>{
                          "vor: Can't get vor list <0> entry <0> with error 0x80000059"});
  failing = testing::FailingNode::Wrap(doc, {"", "#document", ""});
  EXPECT_EQ(parser->Validate(failing.get()), 0x80000059u);
  EXPECT_EQ(parser->Validate(nullptr), zel::kErrInvalidArgument);
}

}  // namespace
}  // namespace vor
