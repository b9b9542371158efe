// The reference host's XML factory over pugixml.
#include "host/xml_factory.h"

#include <string>

#include <gtest/gtest.h>

#include "runtime/string.h"
#include "runtime/text.h"
#include "tests/testing_host/capturing_tracer.h"
#include "tests/xmllists/xml_fixture.h"

namespace vor {
namespace {

using testing::OpenXml;

// GetName, GetText or GetValue through an IStringOut, as plain text.
template <typename Call>
std::string TextOf(Call call, zel::result_t expected = 0) {
  zel::string text;
  zel::StringSink sink(text);
  EXPECT_EQ(call(&sink), expected);
  return std::string(text.view());
}

std::uint32_t CountOf(zel::IXmlNode* node) {
  std::uint32_t count = 99;
  EXPECT_EQ(node->GetChildCount(&count), 0u);
  return count;
}

TEST(XmlFactory, TreeAndEverySlot) {
  auto factory = host::MakeHostObject<host::XmlFactory>();
  Ref<zel::IXmlNode> doc;
  ASSERT_EQ(OpenXml(*factory.get(),
                    "<?xml version=\"1.0\"?><!-- c --><a x=\"1\" y=\"two\">text<!--n--><b/>"
                    "<?pi?><c>inner</c></a><d/>",
                    doc),
            0u);
  std::uint32_t type = 0;
  ASSERT_EQ(doc->GetType(&type), 0u);
  EXPECT_EQ(type, zel::IXmlNode::kTypeDocument);
  EXPECT_EQ(CountOf(doc.get()), 2u);  // every top-level element

  Ref<zel::IXmlNode> a;
  Ref<zel::IXmlNode> missing;
  ASSERT_EQ(doc->GetChild(0, a.put()), 0u);
  EXPECT_EQ(TextOf([&](auto* out) { return a->GetName(out); }), "a");
  EXPECT_EQ(CountOf(a.get()), 2u);  // elements only: b and c
  EXPECT_EQ(a->GetChild(2, missing.put()), zel::kErrOutOfRange);
  EXPECT_FALSE(missing);
  EXPECT_EQ(TextOf([&](auto* out) { return a->GetValue("y", out, 0); }), "two");
  TextOf([&](auto* out) { return a->GetValue("z", out, 0); }, zel::kErrNotFound);
  std::uint32_t values = 0;
  ASSERT_EQ(a->GetValueCount(&values), 0u);
  EXPECT_EQ(values, 2u);
  EXPECT_EQ(TextOf([&](auto* out) { return a->GetValueName(1, out); }), "y");
  TextOf([&](auto* out) { return a->GetValueName(2, out); }, zel::kErrOutOfRange);
  EXPECT_EQ(TextOf([&](auto* out) { return a->GetText(out); }), "text");

  Ref<zel::IXmlNode> c;
  ASSERT_EQ(a->FindChild("c", c.put()), 0u);
  EXPECT_EQ(TextOf([&](auto* out) { return c->GetText(out); }), "inner");
  EXPECT_EQ(a->FindChild("nope", missing.put()), zel::kErrNotFound);
  Ref<zel::IXmlNode> parent;
  ASSERT_EQ(c->GetParent(parent.put()), 0u);
  EXPECT_EQ(TextOf([&](auto* out) { return parent->GetName(out); }), "a");
  Ref<zel::IXmlNode> root;
  ASSERT_EQ(c->GetDocument(root.put()), 0u);
  EXPECT_EQ(root->GetParent(missing.put()), zel::kErrNotFound);

  // Nodes keep the tree alive after every other reference goes.
  doc.reset();
  a.reset();
  parent.reset();
  root.reset();
  EXPECT_EQ(TextOf([&](auto* out) { return c->GetName(out); }), "c");
  ASSERT_EQ(factory->CreateDocument(doc.put()), 0u);
  EXPECT_EQ(CountOf(doc.get()), 0u);
}

TEST(XmlFactory, EmptyDocumentsBadInputAndLimits) {
  auto tracer = host::MakeHostObject<testing::CapturingTracer>();
  auto factory = host::MakeHostObject<host::XmlFactory>(tracer.get(), 256);
  Ref<zel::IXmlNode> doc;
  for (const char* empty : {"", "<?xml version=\"1.0\"?>", "  <!-- only a comment -->\n"}) {
    ASSERT_EQ(OpenXml(*factory.get(), empty, doc), 0u) << empty;
    EXPECT_EQ(CountOf(doc.get()), 0u) << empty;
  }
  EXPECT_EQ(OpenXml(*factory.get(), "<a><b></a>", doc), host::XmlFactory::kParseError);
  EXPECT_FALSE(doc);
  EXPECT_EQ(factory->last_error(), "xml: Start-end tags mismatch at offset 8");
  EXPECT_EQ(tracer->lines(300), std::vector<std::string>{factory->last_error()});

  // Over the cap: refused from the size, and from the bytes when the stream
  // cannot tell its size.
  const std::string big = "<a>" + std::string(300, ' ') + "</a>";
  EXPECT_EQ(OpenXml(*factory.get(), big, doc), host::XmlFactory::kTooBig);
  Ref<zel::IIo> unsized = testing::MemoryStream(big, /*sizeKnown=*/false);
  EXPECT_EQ(factory->OpenDocument(unsized.get(), 1, doc.put()), host::XmlFactory::kTooBig);
  EXPECT_EQ(factory->OpenDocument(nullptr, 1, doc.put()), zel::kErrInvalidArgument);
  Ref<zel::IIo> stream = testing::MemoryStream("<a/>");
  EXPECT_EQ(factory->OpenDocument(stream.get(), 2, doc.put()), host::XmlFactory::kNotSupported);

  // A DTD never expands entities: only predefined ones and references.
  ASSERT_EQ(OpenXml(*factory.get(),
                    "<!DOCTYPE l [<!ENTITY e SYSTEM \"file:///etc/passwd\"><!ENTITY a \"aaaa\">"
                    "<!ENTITY b \"&a;&a;&a;&a;\">]><l p=\"&e;\" q=\"&b;\" r=\"&lt;&#65;\"/>",
                    doc),
            0u);
  Ref<zel::IXmlNode> l;
  ASSERT_EQ(doc->GetChild(0, l.put()), 0u);
  for (const auto& [name, value] : {std::pair{"p", "&e;"}, {"q", "&b;"}, {"r", "<A"}}) {
    EXPECT_EQ(TextOf([&](auto* out) { return l->GetValue(name, out, 0); }), value) << name;
  }
}

}  // namespace
}  // namespace vor
