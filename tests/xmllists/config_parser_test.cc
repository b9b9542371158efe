// VorConfigParser on XML critical file lists.
#include "filelist/vor_config_parser.h"

#include <gtest/gtest.h>

#include "runtime/result.h"
#include "tests/xmllists/xml_fixture.h"

namespace vor {
namespace {

const std::string kNoItems = "\nNo vor list items in config!";
const std::string kNotValid = kNoItems + "\nCan't validate config with error 0x8000005c";
const std::string kTwoLists =
    "<vor_list><vor_entry path=\"/a\"/></vor_list><bad_list><vor_entry path=\"/b\"/></bad_list>";

// Runs Init on `text`; returns the code and the kept paths joined by spaces.
std::pair<zel::result_t, std::string> Parse(testing::XmlListHost& host, const std::string& text) {
  VorConfigParser parser(host.locator.get());
  host.tracer->Clear();
  const zel::result_t code = parser.Init(testing::MemoryStream(text).get());
  std::string paths;
  for (const zel::string& p : parser.paths()) {
    if (!paths.empty()) paths += ' ';
    paths += p.view();
  }
  return {code, paths};
}

TEST(ConfigParser, GoodListsAreTracedInDocumentOrder) {
  testing::XmlListHost host;
  EXPECT_EQ(Parse(host, "<vor_list><vor_entry path=\"/a\"/><vor_entry path=\"/b\"/></vor_list>"
                        "<vor_list><vor_entry path=\"/c\"/></vor_list>"),
            std::pair(zel::kOk, std::string("/a /b /c")));
  EXPECT_EQ(host.tracer->lines(),
            (std::vector<std::string>{
                "vor: Begin config parser init...", "vor: Parsing vor list <0>...", "vor:     1) /a",
                "vor:     2) /b", "vor: Done", "vor: Parsing vor list <1>...", "vor:     1) /c",
                "vor: Done", "vor: Config parser init status is ok"}));
  host.locator->Refuse(zel::IXmlFactory::kIid);
  EXPECT_EQ(Parse(host, "<vor_list/>").first, zel::kErrNotFound);
  EXPECT_EQ(host.Errors(), "Can't get xml factory with error 0x8000004c");
  EXPECT_EQ(VorConfigParser(host.locator.get()).Validate(nullptr), zel::kErrInvalidArgument);
}

// Validation is lenient and extraction reads every node again, so each row
// pins which step reports what and which paths survive.
TEST(ConfigParser, DocumentsAndHostFailures) {
  struct Case {
    std::string xml;
    testing::NodeFailures failures;
    zel::result_t code;
    std::string paths;
    std::string errors;
  };
  const Case cases[] = {
      {"", {}, zel::kErrInvalidSize, "", "No vor list in config!\nCan't validate config with error 0x8000005c"},
      {"<other><vor_entry path=\"/a\"/></other>", {}, zel::kErrInvalidSize, "",
       "Invalid vor list node name!" + kNotValid},
      {"<vor_list>", {}, host::XmlFactory::kParseError, "", "Can't open config with error 0x8000005a"},
      {"<vor_list><vor_entry path=\"\"/><vor_entry path=\"/ok\"/></vor_list>", {}, zel::kOk, "/ok",
       "Empty path!\nCan't validate vor list <0> entry <0> with error 0x80010109\n"
       "Empty path for vor list <0> entry <0>!"},
      // A wrongly named entry passes validation unexamined (kept so).
      {"<vor_list><odd path=\"/odd\"/></vor_list>", {}, zel::kOk, "/odd",
       "Invalid vor list entry node name!"},
      {"<vor_list><odd/></vor_list>", {}, zel::kErrInvalidSize, "",
       "Invalid vor list entry node name!\nCan't get path vor list <0> entry <0> with error "
       "0x8000004c" + kNoItems + "\nCan't extract vor list from config with error 0x8000005c"},
      {"<vor_list><vor_entry/></vor_list>", {}, zel::kErrInvalidSize, "",
       "Can't get path with error 0x8000004c\nCan't validate vor list <0> entry <0> with error "
       "0x8000004c" + kNotValid},
      // Host node failures: each is traced and its node skipped.
      {kTwoLists, {"bad_list", "", ""}, zel::kOk, "/a /b",
       "Can't get name from vor list node <1> with error 0x80000059"},
      {kTwoLists + "<odd_list><vor_entry path=\"/c\"/></odd_list>", {"", "bad_list", "odd_list"},
       zel::kOk, "/a",
       "Invalid vor list node name!\nInvalid vor list node name!\n"
       "Can't get vor list <1> entry count with error 0x80000059\n"
       "Can't get vor list <2> entry <0> with error 0x80000059"},
      {kTwoLists, {"", "vor_list", ""}, zel::kErrInvalidSize, "",
       "Can't get vor list <0> entry count with error 0x80000059\nInvalid vor list node name!" +
           kNotValid},
      // An entry whose check throws fails alone; the walk goes on.
      {"<vor_list><vor_entry path=\"/a\"/><odd path=\"/b\"/></vor_list>", {"", "", "", "vor_entry"},
       zel::kOk, "/a /b",
       "Exception caught at line 98 =>  host node threw\n"
       "Can't validate vor list <0> entry <0> with error 0x80000151\nInvalid vor list entry node name!"},
      {kTwoLists, {"", "#document", ""}, zel::kErrMedia, "",
       "Can't get vor list count with error 0x80000059\n"
       "Can't validate config with error 0x80000059"},
  };
  for (const Case& c : cases) {
    testing::XmlListHost host;
    host.xml->failures = c.failures;
    EXPECT_EQ(Parse(host, c.xml), std::pair(c.code, c.paths)) << c.xml;
    EXPECT_EQ(host.Errors(), c.errors) << c.xml;
  }
}

}  // namespace
}  // namespace vor
