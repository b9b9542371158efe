// Opening XML text through the reference host's factory, and a node wrapper
// that fails chosen host operations.
#ifndef VOR_TESTS_XMLLISTS_XML_FIXTURE_H_
#define VOR_TESTS_XMLLISTS_XML_FIXTURE_H_

#include <string>

#include "host/host_object.h"
#include "host/xml_factory.h"
#include "vor/io.h"
#include "vor/ref.h"
#include "vor/xml.h"

namespace vor::testing {

// A read-only stream over a string; GetSize can be made to fail.
Ref<zel::IIo> MemoryStream(std::string content, bool sizeKnown = true);

// Parses `text`; returns the factory's code.
zel::result_t OpenXml(host::XmlFactory& factory, const std::string& text,
                      Ref<zel::IXmlNode>& document);

// Forwards to `inner`, failing GetName / GetChildCount / GetChild with
// 0x80000059 when the node's element name ("#document" for the document)
// equals the chosen text; empty chooses none. Children are wrapped too.
class FailingNode : public host::HostObject<zel::IXmlNode> {
 public:
  struct Failures {
    std::string name;        // GetName fails on nodes with this name
    std::string childCount;  // GetChildCount fails
    std::string child;       // GetChild fails
  };
  static Ref<zel::IXmlNode> Wrap(Ref<zel::IXmlNode> inner, const Failures& failures);

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
  FailingNode(Ref<zel::IXmlNode> inner, Failures failures);

  Ref<zel::IXmlNode> inner_;
  Failures failures_;
  std::string name_;
};

}  // namespace vor::testing

#endif  // VOR_TESTS_XMLLISTS_XML_FIXTURE_H_
