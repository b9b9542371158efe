// XML text through the reference host's factory, and wrappers that make
// chosen host node operations fail.
#ifndef VOR_TESTS_XMLLISTS_XML_FIXTURE_H_
#define VOR_TESTS_XMLLISTS_XML_FIXTURE_H_

#include <string>
#include <vector>

#include "host/host_object.h"
#include "host/xml_factory.h"
#include "tests/testing_host/testing_host.h"
#include "vor/io.h"
#include "vor/ref.h"
#include "vor/xml.h"

namespace vor::testing {

// A read-only stream over a string; GetSize can be made to fail.
Ref<zel::IIo> MemoryStream(std::string content, bool sizeKnown = true);

// Parses `text`; returns the factory's code.
zel::result_t OpenXml(zel::IXmlFactory& factory, const std::string& text,
                      Ref<zel::IXmlNode>& document);

// GetName / GetChildCount / GetChild fail with zel::kErrMedia on nodes whose
// element name ("#document" for the document) equals the chosen text, and
// GetName throws on those named `nameThrows`; empty chooses none.
struct NodeFailures {
  std::string name;
  std::string childCount;
  std::string child;
  std::string nameThrows = {};
};

// Forwards to `inner`, failing as `failures` says; children are wrapped too.
class FailingNode : public host::HostObject<zel::IXmlNode> {
 public:
  static Ref<zel::IXmlNode> Wrap(Ref<zel::IXmlNode> inner, const NodeFailures& failures);

  zel::result_t GetDocument(zel::IXmlNode** out) override { return inner_->GetDocument(out); }
  zel::result_t GetParent(zel::IXmlNode** out) override { return inner_->GetParent(out); }
  zel::result_t GetType(std::uint32_t* type) override { return inner_->GetType(type); }
  zel::result_t GetName(zel::IStringOut* name) override;
  zel::result_t GetChildCount(std::uint32_t* count) override;
  zel::result_t FindChild(const char* name, zel::IXmlNode** out) override {
    return inner_->FindChild(name, out);
  }
  zel::result_t GetChild(std::uint32_t index, zel::IXmlNode** out) override;
  zel::result_t GetText(zel::IStringOut* text) override { return inner_->GetText(text); }
  zel::result_t GetValueCount(std::uint32_t* count) override {
    return inner_->GetValueCount(count);
  }
  zel::result_t GetValueName(std::uint32_t index, zel::IStringOut* name) override {
    return inner_->GetValueName(index, name);
  }
  zel::result_t GetValue(const char* name, zel::IStringOut* value, std::uint32_t flags) override {
    return inner_->GetValue(name, value, flags);
  }

 private:
  FailingNode(Ref<zel::IXmlNode> inner, NodeFailures failures);

  Ref<zel::IXmlNode> inner_;
  NodeFailures failures_;
  std::string name_;
};

// The reference factory whose documents come wrapped in FailingNode.
class FailingXmlFactory : public host::HostObject<zel::IXmlFactory> {
 public:
  zel::result_t CreateDocument(zel::IXmlNode** out) override { return real->CreateDocument(out); }
  zel::result_t OpenDocument(zel::IIo* source, std::uint32_t format, zel::IXmlNode** out) override;

  Ref<host::XmlFactory> real = host::MakeHostObject<host::XmlFactory>();
  NodeFailures failures;
};

// A testing host with a FailingXmlFactory registered and debug lines off.
struct XmlListHost : TestingHost {
  XmlListHost();
  // The error lines, one per text line, without the "vor: " prefix.
  std::string Errors() const;

  Ref<FailingXmlFactory> xml = host::MakeHostObject<FailingXmlFactory>();
};

}  // namespace vor::testing

#endif  // VOR_TESTS_XMLLISTS_XML_FIXTURE_H_
