#include "tests/xmllists/xml_fixture.h"

#include <algorithm>
#include <cstring>

namespace vor::testing {
namespace {

constexpr zel::result_t kInjected = 0x80000059;

class StringStream final : public host::HostObject<zel::IIo> {
 public:
  StringStream(std::string content, bool sizeKnown)
      : content_(std::move(content)), sizeKnown_(sizeKnown) {}
  zel::result_t Read(void* buffer, std::uint32_t size, std::uint32_t* bytesRead) override {
    const std::size_t n = std::min<std::size_t>(size, content_.size() - offset_);
    std::memcpy(buffer, content_.data() + offset_, n);
    offset_ += n;
    *bytesRead = static_cast<std::uint32_t>(n);
    return 0;
  }
  zel::result_t Write(const void*, std::uint32_t, std::uint32_t*) override { return 0x80000045; }
  zel::result_t Seek(std::int64_t offset, std::uint32_t origin, std::uint64_t* position) override {
    if (origin != kSeekBegin || offset < 0) return 0x80000046;
    offset_ = std::min<std::size_t>(static_cast<std::size_t>(offset), content_.size());
    if (position != nullptr) *position = offset_;
    return 0;
  }
  zel::result_t SetSize(std::uint64_t) override { return 0x80000045; }
  zel::result_t GetSize(std::uint64_t* size) override {
    if (!sizeKnown_) return 0x80000042;
    *size = content_.size();
    return 0;
  }

 private:
  std::string content_;
  std::size_t offset_ = 0;
  bool sizeKnown_;
};

class NameSink final : public zel::IStringOut {
 public:
  zel::result_t Assign(const char* data, std::size_t size) override {
    text.assign(data, size);
    return 0;
  }
  std::string text;
};

}  // namespace

Ref<zel::IIo> MemoryStream(std::string content, bool sizeKnown) {
  return Ref<zel::IIo>::Adopt(new StringStream(std::move(content), sizeKnown));
}

zel::result_t OpenXml(host::XmlFactory& factory, const std::string& text,
                      Ref<zel::IXmlNode>& document) {
  Ref<zel::IIo> stream = MemoryStream(text);
  return factory.OpenDocument(stream.get(), zel::IXmlFactory::kFormatXmlText, document.put());
}

FailingNode::FailingNode(Ref<zel::IXmlNode> inner, Failures failures)
    : inner_(std::move(inner)), failures_(std::move(failures)) {
  NameSink sink;
  inner_->GetName(&sink);
  std::uint32_t type = 0;
  inner_->GetType(&type);
  name_ = type == kTypeDocument ? "#document" : sink.text;
}

Ref<zel::IXmlNode> FailingNode::Wrap(Ref<zel::IXmlNode> inner, const Failures& failures) {
  return Ref<zel::IXmlNode>::Adopt(new FailingNode(std::move(inner), failures));
}

zel::result_t FailingNode::GetName(zel::IStringOut* name) {
  if (!failures_.name.empty() && name_ == failures_.name) return kInjected;
  return inner_->GetName(name);
}

zel::result_t FailingNode::GetChildCount(std::uint32_t* count) {
  if (!failures_.childCount.empty() && name_ == failures_.childCount) return kInjected;
  return inner_->GetChildCount(count);
}

zel::result_t FailingNode::GetChild(std::uint32_t index, zel::IXmlNode** out) {
  *out = nullptr;
  if (!failures_.child.empty() && name_ == failures_.child) return kInjected;
  Ref<zel::IXmlNode> child;
  const zel::result_t code = inner_->GetChild(index, child.put());
  if (code != 0) return code;
  *out = Wrap(std::move(child), failures_).detach();
  return 0;
}

}  // namespace vor::testing
