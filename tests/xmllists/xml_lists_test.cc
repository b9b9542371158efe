// XML list documents from data/*.xml: the critical process list
// (ReadProcessList), the critical file list (VorConfigParser) and the tree
// the reference host's XML factory hands out. Each file opens with a comment
// holding the expectation, one "key: value" a line; "result", "errors" and
// "info" may go on over the following lines:
//   reader      process, files or tree
//   no-factory  yes: the host has no XML factory
//   limit, unsized   the factory's byte cap; yes: the stream cannot tell its size
//   fail-name, fail-count, fail-child   host nodes of that element name
//               ("#document": the document) fail GetName, GetChildCount or
//               GetChild with 0x80000059; throw-name: GetName throws
//   code        the reader's result; result: the entries ("flags:path:parent"),
//               the paths, or the element tree, one element a line
//   errors, info   the trace lines of that level
// The document is what follows the comment.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

#include "filelist/vor_config_parser.h"
#include "host/xml_factory.h"
#include "proclist/process_list_config.h"
#include "runtime/result.h"
#include "runtime/text.h"
#include "tests/testing_host/fake_file_factory.h"
#include "tests/testing_host/faults.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

using Header = std::map<std::string, std::string>;

Ref<zel::IIo> MemoryStream(std::string content, bool sizeKnown = true) {
  return testing::FakeFileFactory::StreamOver(std::move(content), sizeKnown ? 0 : zel::kErrNotSupported);
}

// GetName, GetText, GetValue... through an IStringOut, as plain text.
template <typename Call>
std::string TextOf(Call call, zel::result_t expected = 0) {
  zel::string text;
  zel::StringSink sink(text);
  EXPECT_EQ(call(&sink), expected);
  return std::string(text.view());
}

// Fails the host node calls the header names, chosen by the element's name.
class NodeFaults : public testing::FaultPlan {
 public:
  explicit NodeFaults(const Header& h) : h_(h) {}
  bool Fails(const char* call, zel::IObject* target) override {
    static const std::map<std::string, std::string> keys = {
        {"GetName", "fail-name"}, {"GetChildCount", "fail-count"}, {"GetChild", "fail-child"}};
    const auto key = keys.find(call);
    if (key == keys.end()) return false;
    auto* node = static_cast<zel::IXmlNode*>(target);
    std::uint32_t type = 0;
    node->GetType(&type);
    const std::string name = type == zel::IXmlNode::kTypeDocument ? "#document" : TextOf([&](auto* s) { return node->GetName(s); });
    if (key->first == "GetName" && Is("throw-name", name)) throw std::runtime_error("host node threw");
    return Is(key->second, name);
  }

 private:
  bool Is(const std::string& key, const std::string& name) const { return h_.contains(key) && h_.at(key) == name; }
  const Header& h_;
};

// One line per element, "name value=text... "text"", children indented.
void Dump(zel::IXmlNode* node, const std::string& indent, std::vector<std::string>& lines) {
  std::uint32_t count = 0;
  ASSERT_EQ(node->GetChildCount(&count), 0u);
  for (std::uint32_t i = 0; i < count; ++i) {
    Ref<zel::IXmlNode> child;
    ASSERT_EQ(node->GetChild(i, child.put()), 0u);
    std::string line = indent + TextOf([&](auto* s) { return child->GetName(s); });
    std::uint32_t values = 0;
    ASSERT_EQ(child->GetValueCount(&values), 0u);
    for (std::uint32_t v = 0; v < values; ++v) {
      const std::string name = TextOf([&](auto* s) { return child->GetValueName(v, s); });
      line += " " + name + "=" + TextOf([&](auto* s) { return child->GetValue(name.c_str(), s, 0); });
    }
    const std::string text = TextOf([&](auto* s) { return child->GetText(s); });
    lines.push_back(text.empty() ? line : line + " \"" + text + "\"");
    Dump(child.get(), indent + "  ", lines);
  }
}

struct Case {
  std::string name;
  Header header;
  std::string document;
};

void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

std::vector<Case> ReadCases() {
  std::vector<Case> cases;
  for (const auto& file : std::filesystem::directory_iterator(VOR_SOURCE_DIR "/tests/xmllists/data")) {
    std::stringstream text;
    text << std::ifstream(file.path()).rdbuf();
    const std::string all = text.str();
    const std::size_t end = all.find("-->\n");
    Case c{file.path().stem().string(), {}, end == std::string::npos ? "" : all.substr(end + 4)};
    std::istringstream header(all.substr(0, end));
    std::string* value = nullptr;
    for (std::string line; std::getline(header, line);) {
      const std::string key = line.substr(0, line.find(':'));
      static const std::set<std::string> keys = {"reader", "no-factory", "limit", "unsized", "fail-name",
          "fail-count", "fail-child", "throw-name", "code", "result", "errors", "info"};
      if (keys.contains(key)) {
        value = &c.header[key];
        *value = line.substr(std::min(line.size(), key.size() + 2));
      } else if (value != nullptr) {
        *value += (value->empty() ? "" : "\n") + line;
      }
    }
    cases.push_back(std::move(c));
  }
  std::sort(cases.begin(), cases.end(), [](const Case& a, const Case& b) { return a.name < b.name; });
  return cases;
}

class XmlListDocument : public ::testing::TestWithParam<Case> {};

TEST_P(XmlListDocument, ReadsAsItsHeaderSays) {
  Header h = GetParam().header;
  ASSERT_TRUE(h.contains("reader") && h.contains("code") && h.contains("result")) << "incomplete header";
  testing::TestingHost host;
  host.tracer->set_threshold(zel::kTraceInfo);
  auto failing = host::MakeHostObject<testing::FaultyXmlFactory>(
      Ref<zel::IXmlFactory>(host::MakeHostObject<host::XmlFactory>().get()), std::make_shared<NodeFaults>(h));
  if (h["no-factory"] != "yes") host.Register(zel::IXmlFactory::kIid, failing.get());
  Ref<zel::IIo> stream = MemoryStream(GetParam().document, h["unsized"] != "yes");
  zel::result_t code = 0;
  std::vector<std::string> result;
  if (h["reader"] == "process") {
    CriticalProcessEntries entries(1);
    entries[0].path.assign("stale");
    code = ReadProcessList(zel::Tracer(Ref<zel::ITracer>(host.tracer.get()), "vor: "), host.locator.get(),
                           stream.get(), entries);
    for (const CriticalProcessEntry& e : entries) {
      result.push_back(std::to_string(e.flags) + ":" + std::string(e.path.view()) + ":" +
                       std::string(e.parentPath.view()));
    }
  } else if (h["reader"] == "files") {
    VorConfigParser parser(host.locator.get());
    code = parser.Init(stream.get());
    for (const zel::string& path : parser.paths()) result.emplace_back(path.view());
  } else {
    const std::size_t limit = h.contains("limit") ? std::stoul(h["limit"]) : host::XmlFactory::kDefaultMaxBytes;
    auto factory = host::MakeHostObject<host::XmlFactory>(host.tracer.get(), limit);
    Ref<zel::IXmlNode> document;
    code = factory->OpenDocument(stream.get(), zel::IXmlFactory::kFormatXmlText, document.put());
    EXPECT_EQ(!document, code != 0);
    if (document) Dump(document.get(), "", result);
  }
  EXPECT_EQ(code, static_cast<zel::result_t>(std::stoul(h["code"], nullptr, 16)));
  EXPECT_EQ(testing::Joined(result, h["reader"] == "tree" ? "\n" : " "), h["result"]);
  EXPECT_EQ(testing::Joined(host.tracer->lines(zel::kTraceError), "\n"), h["errors"]);
  if (GetParam().header.contains("info")) {
    EXPECT_EQ(testing::Joined(host.tracer->lines(zel::kTraceInfo), "\n"), h["info"]);
  }
}

INSTANTIATE_TEST_SUITE_P(Data, XmlListDocument, ::testing::ValuesIn(ReadCases()),
                         [](const auto& row) { return row.param.name; });

TEST(XmlLists, NullDocumentsAreRefused) {
  testing::TestingHost host;
  EXPECT_EQ(ValidateProcessList(zel::Tracer(), nullptr), zel::kErrInvalidArgument);
  EXPECT_EQ(VorConfigParser(host.locator.get()).Validate(nullptr), zel::kErrInvalidArgument);
}

// What the element dump of the data files does not reach.
TEST(XmlFactory, NavigationRefusalsAndTreeLifetime) {
  auto factory = host::MakeHostObject<host::XmlFactory>();
  Ref<zel::IXmlNode> doc, a, c, root, missing;
  EXPECT_EQ(factory->OpenDocument(nullptr, 1, doc.put()), zel::kErrInvalidArgument);
  EXPECT_EQ(factory->OpenDocument(MemoryStream("<a/>").get(), 2, doc.put()), zel::kErrNotSupported);
  ASSERT_EQ(factory->OpenDocument(MemoryStream("<a x=\"1\"><b/><c/></a>").get(), 1, doc.put()), 0u);
  ASSERT_EQ(doc->GetChild(0, a.put()), 0u);
  EXPECT_EQ(a->GetChild(2, missing.put()), zel::kErrOutOfRange);
  EXPECT_FALSE(missing);
  TextOf([&](auto* out) { return a->GetValue("z", out, 0); }, zel::kErrNotFound);
  TextOf([&](auto* out) { return a->GetValueName(1, out); }, zel::kErrOutOfRange);
  EXPECT_EQ(a->FindChild("nope", missing.put()), zel::kErrNotFound);
  ASSERT_EQ(a->FindChild("c", c.put()), 0u);
  ASSERT_EQ(c->GetParent(missing.put()), 0u);
  EXPECT_EQ(TextOf([&](auto* out) { return missing->GetName(out); }), "a");
  ASSERT_EQ(c->GetDocument(root.put()), 0u);
  EXPECT_EQ(root->GetParent(missing.put()), zel::kErrNotFound);
  // Nodes keep the tree alive after every other reference goes.
  doc.reset(), a.reset(), root.reset(), factory.reset();
  EXPECT_EQ(TextOf([&](auto* out) { return c->GetName(out); }), "c");
  ASSERT_EQ(host::MakeHostObject<host::XmlFactory>()->CreateDocument(doc.put()), 0u);
  EXPECT_EQ(doc->GetChild(0, missing.put()), zel::kErrOutOfRange);
}

}  // namespace
}  // namespace vor
