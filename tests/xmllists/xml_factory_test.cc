// The reference host's XML factory over pugixml.
#include "host/xml_factory.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/testing_host/capturing_tracer.h"
#include "tests/xmllists/xml_fixture.h"

namespace vor {
namespace {

using testing::OpenXml;

class Text final : public zel::IStringOut {
 public:
  zel::result_t Assign(const char* data, std::size_t size) override {
    value.assign(data, size);
    return 0;
  }
  std::string value;
};

std::string NameOf(zel::IXmlNode* node) {
  Text text;
  EXPECT_EQ(node->GetName(&text), 0u);
  return text.value;
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
  EXPECT_EQ(NameOf(doc.get()), "");
  // Several top-level elements are all the document's children.
  EXPECT_EQ(CountOf(doc.get()), 2u);

  Ref<zel::IXmlNode> a;
  ASSERT_EQ(doc->GetChild(0, a.put()), 0u);
  EXPECT_EQ(NameOf(a.get()), "a");
  ASSERT_EQ(a->GetType(&type), 0u);
  EXPECT_EQ(type, zel::IXmlNode::kTypeElement);
  EXPECT_EQ(CountOf(a.get()), 2u);  // elements only: b and c
  Ref<zel::IXmlNode> missing;
  EXPECT_EQ(a->GetChild(2, missing.put()), 0x8000005eu);
  EXPECT_FALSE(missing);

  Text text;
  EXPECT_EQ(a->GetValue("y", &text, 0), 0u);
  EXPECT_EQ(text.value, "two");
  EXPECT_EQ(a->GetValue("z", &text, 0), 0x8000004cu);
  std::uint32_t values = 0;
  ASSERT_EQ(a->GetValueCount(&values), 0u);
  EXPECT_EQ(values, 2u);
  ASSERT_EQ(a->GetValueName(1, &text), 0u);
  EXPECT_EQ(text.value, "y");
  EXPECT_EQ(a->GetValueName(2, &text), 0x8000005eu);
  ASSERT_EQ(a->GetText(&text), 0u);
  EXPECT_EQ(text.value, "text");

  Ref<zel::IXmlNode> c;
  ASSERT_EQ(a->FindChild("c", c.put()), 0u);
  ASSERT_EQ(c->GetText(&text), 0u);
  EXPECT_EQ(text.value, "inner");
  EXPECT_EQ(a->FindChild("nope", missing.put()), 0x8000004cu);
  Ref<zel::IXmlNode> parent;
  ASSERT_EQ(c->GetParent(parent.put()), 0u);
  EXPECT_EQ(NameOf(parent.get()), "a");
  Ref<zel::IXmlNode> root;
  ASSERT_EQ(c->GetDocument(root.put()), 0u);
  EXPECT_EQ(CountOf(root.get()), 2u);
  EXPECT_EQ(root->GetParent(missing.put()), 0x8000004cu);

  // Nodes keep the tree alive after the document reference goes.
  doc.reset();
  a.reset();
  EXPECT_EQ(NameOf(c.get()), "c");

  EXPECT_EQ(a.get(), nullptr);
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
  EXPECT_EQ(tracer->lines(300),
            std::vector<std::string>{"xml: Start-end tags mismatch at offset 8"});

  // Over the cap: refused from the size, and from the bytes when the stream
  // cannot tell its size.
  const std::string big = "<a>" + std::string(300, ' ') + "</a>";
  EXPECT_EQ(OpenXml(*factory.get(), big, doc), host::XmlFactory::kTooBig);
  Ref<zel::IIo> unsized = testing::MemoryStream(big, /*sizeKnown=*/false);
  EXPECT_EQ(factory->OpenDocument(unsized.get(), 1, doc.put()), host::XmlFactory::kTooBig);
  EXPECT_EQ(factory->OpenDocument(nullptr, 1, doc.put()), 0x80000046u);
  Ref<zel::IIo> stream = testing::MemoryStream("<a/>");
  EXPECT_EQ(factory->OpenDocument(stream.get(), 2, doc.put()), host::XmlFactory::kNotSupported);
}

TEST(XmlFactory, EntitiesAreNeverExpandedFromADtd) {
  auto factory = host::MakeHostObject<host::XmlFactory>();
  Ref<zel::IXmlNode> doc;
  const std::string xml =
      "<!DOCTYPE l [<!ENTITY e SYSTEM \"file:///etc/passwd\">"
      "<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">]>"
      "<l p=\"&e;\" q=\"&b;\" r=\"&lt;&#65;\"/>";
  ASSERT_EQ(OpenXml(*factory.get(), xml, doc), 0u);
  Ref<zel::IXmlNode> l;
  ASSERT_EQ(doc->GetChild(0, l.put()), 0u);
  Text text;
  ASSERT_EQ(l->GetValue("p", &text, 0), 0u);
  EXPECT_EQ(text.value, "&e;");
  ASSERT_EQ(l->GetValue("q", &text, 0), 0u);
  EXPECT_EQ(text.value, "&b;");
  ASSERT_EQ(l->GetValue("r", &text, 0), 0u);
  EXPECT_EQ(text.value, "<A");  // predefined entities and references only
}

}  // namespace
}  // namespace vor
