#include "tests/xmllists/xml_fixture.h"

#include <stdexcept>

#include "runtime/string.h"
#include "runtime/text.h"
#include "tests/testing_host/fake_file_factory.h"

namespace vor::testing {
namespace {

constexpr zel::result_t kInjected = zel::kErrMedia;

}  // namespace

Ref<zel::IIo> MemoryStream(std::string content, bool sizeKnown) {
  auto files = host::MakeHostObject<FakeFileFactory>();
  if (!sizeKnown) files->Add(u"/m", std::move(content)).sizeResult = zel::kErrNotSupported;
  if (sizeKnown) files->Add(u"/m", std::move(content));
  Ref<zel::IIo> stream;
  files->Open(u"/m", 0, 0, 0, 0, stream.put());
  return stream;
}

zel::result_t OpenXml(zel::IXmlFactory& factory, const std::string& text,
                      Ref<zel::IXmlNode>& document) {
  Ref<zel::IIo> stream = MemoryStream(text);
  return factory.OpenDocument(stream.get(), zel::IXmlFactory::kFormatXmlText, document.put());
}

FailingNode::FailingNode(Ref<zel::IXmlNode> inner, NodeFailures failures)
    : inner_(std::move(inner)), failures_(std::move(failures)) {
  zel::string name;
  zel::StringSink sink(name);
  inner_->GetName(&sink);
  std::uint32_t type = 0;
  inner_->GetType(&type);
  name_ = type == kTypeDocument ? "#document" : std::string(name.view());
}

Ref<zel::IXmlNode> FailingNode::Wrap(Ref<zel::IXmlNode> inner, const NodeFailures& failures) {
  return Ref<zel::IXmlNode>::Adopt(new FailingNode(std::move(inner), failures));
}

zel::result_t FailingNode::GetName(zel::IStringOut* name) {
  if (name_ == failures_.nameThrows) throw std::runtime_error("host node threw");
  return name_ == failures_.name ? kInjected : inner_->GetName(name);
}

zel::result_t FailingNode::GetChildCount(std::uint32_t* count) {
  return name_ == failures_.childCount ? kInjected : inner_->GetChildCount(count);
}

zel::result_t FailingNode::GetChild(std::uint32_t index, zel::IXmlNode** out) {
  *out = nullptr;
  if (name_ == failures_.child) return kInjected;
  Ref<zel::IXmlNode> child;
  const zel::result_t code = inner_->GetChild(index, child.put());
  if (code != 0) return code;
  *out = Wrap(std::move(child), failures_).detach();
  return 0;
}

zel::result_t FailingXmlFactory::OpenDocument(zel::IIo* source, std::uint32_t format,
                                              zel::IXmlNode** out) {
  Ref<zel::IXmlNode> document;
  const zel::result_t code = real->OpenDocument(source, format, document.put());
  if (code != 0) return code;
  *out = FailingNode::Wrap(std::move(document), failures).detach();
  return 0;
}

XmlListHost::XmlListHost() {
  Register(zel::IXmlFactory::kIid, xml.get());
  tracer->set_threshold(zel::kTraceInfo);
}

std::string XmlListHost::Errors() const {
  std::string text;
  for (const std::string& line : tracer->lines(zel::kTraceError)) {
    text += (text.empty() ? "" : "\n") + (line.starts_with("vor: ") ? line.substr(5) : line);
  }
  return text;
}

}  // namespace vor::testing
