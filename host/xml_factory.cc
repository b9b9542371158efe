#include "host/xml_factory.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>
#include <vector>

#include <pugixml.hpp>

#include "host/host_failures.h"

namespace vor::host {
namespace {

// Predefined entities and character references only; no DOCTYPE node, no
// processing instructions or comments in the tree.
constexpr unsigned kParseOptions = pugi::parse_default;

// A call that could not complete — memory ran out, here or in the caller's
// string — is tallied as a host failure: the reader may have been handed less
// than the document holds. What the document lacks (no such attribute, no
// child at that index) is an answer, not a failure.
zel::result_t Counted(zel::result_t code) {
  if (zel::Failed(code) && code != zel::kErrNotFound && code != zel::kErrOutOfRange &&
      code != zel::kErrInvalidArgument) {
    NoteHostFailure(code);
  }
  return code;
}

// The parsed tree, shared by every node handed out from it.
struct Tree {
  pugi::xml_document document;
};

class XmlNode : public HostObject<zel::IXmlNode> {
 public:
  XmlNode(std::shared_ptr<const Tree> tree, pugi::xml_node node)
      : tree_(std::move(tree)), node_(node) {}

  zel::result_t GetDocument(zel::IXmlNode** out) override {
    return Hand(tree_->document, out);
  }
  zel::result_t GetParent(zel::IXmlNode** out) override {
    return Hand(node_.parent(), out);
  }
  zel::result_t GetType(std::uint32_t* type) override {
    if (type == nullptr) return zel::kErrInvalidArgument;
    *type = node_.type() == pugi::node_document ? kTypeDocument : kTypeElement;
    return zel::kOk;
  }
  zel::result_t GetName(zel::IStringOut* name) override {
    if (name == nullptr) return zel::kErrInvalidArgument;
    const char* text = node_.type() == pugi::node_document ? "" : node_.name();
    return Counted(name->Assign(text, std::strlen(text)));
  }
  zel::result_t GetChildCount(std::uint32_t* count) override {
    if (count == nullptr) return zel::kErrInvalidArgument;
    *count = 0;
    const std::vector<pugi::xml_node>* children = Children();
    if (children == nullptr) return Counted(XmlFactory::kOutOfMemory);
    *count = static_cast<std::uint32_t>(children->size());
    return zel::kOk;
  }
  zel::result_t FindChild(const char* name, zel::IXmlNode** out) override {
    if (out != nullptr) *out = nullptr;
    if (name == nullptr || out == nullptr) return zel::kErrInvalidArgument;
    return Hand(node_.child(name), out);
  }
  zel::result_t GetChild(std::uint32_t index, zel::IXmlNode** out) override {
    if (out == nullptr) return zel::kErrInvalidArgument;
    *out = nullptr;
    const std::vector<pugi::xml_node>* children = Children();
    if (children == nullptr) return Counted(XmlFactory::kOutOfMemory);
    if (index >= children->size()) return zel::kErrOutOfRange;
    return Hand((*children)[index], out);
  }
  zel::result_t GetText(zel::IStringOut* text) override {
    if (text == nullptr) return zel::kErrInvalidArgument;
    const char* value = node_.text().get();
    return Counted(text->Assign(value, std::strlen(value)));
  }
  zel::result_t GetValueCount(std::uint32_t* count) override {
    if (count == nullptr) return zel::kErrInvalidArgument;
    std::uint32_t n = 0;
    for (pugi::xml_attribute a = node_.first_attribute(); a; a = a.next_attribute()) ++n;
    *count = n;
    return zel::kOk;
  }
  zel::result_t GetValueName(std::uint32_t index, zel::IStringOut* name) override {
    if (name == nullptr) return zel::kErrInvalidArgument;
    pugi::xml_attribute a = node_.first_attribute();
    for (std::uint32_t i = 0; a && i < index; ++i) a = a.next_attribute();
    if (!a) return zel::kErrOutOfRange;
    return Counted(name->Assign(a.name(), std::strlen(a.name())));
  }
  zel::result_t GetValue(const char* name, zel::IStringOut* value,
                         std::uint32_t /*flags*/) override {
    if (name == nullptr || value == nullptr) return zel::kErrInvalidArgument;
    pugi::xml_attribute a = node_.attribute(name);
    if (!a) return zel::kErrNotFound;
    return Counted(value->Assign(a.value(), std::strlen(a.value())));
  }

 private:
  zel::result_t Hand(pugi::xml_node node, zel::IXmlNode** out) {
    if (out == nullptr) return zel::kErrInvalidArgument;
    *out = nullptr;
    if (!node) return zel::kErrNotFound;
    XmlNode* made = new (std::nothrow) XmlNode(tree_, node);
    if (made == nullptr) return Counted(XmlFactory::kOutOfMemory);
    *out = made;
    return zel::kOk;
  }

  // Element children, gathered once so that indexed access over a long list
  // stays linear in total. Null when memory runs out.
  const std::vector<pugi::xml_node>* Children() {
    std::lock_guard<std::mutex> hold(mutex_);
    if (!gathered_) {
      try {
        for (pugi::xml_node c = node_.first_child(); c; c = c.next_sibling()) {
          if (c.type() == pugi::node_element) children_.push_back(c);
        }
      } catch (const std::bad_alloc&) {
        children_.clear();
        return nullptr;
      }
      gathered_ = true;
    }
    return &children_;
  }

  std::shared_ptr<const Tree> tree_;
  pugi::xml_node node_;
  std::mutex mutex_;
  bool gathered_ = false;
  std::vector<pugi::xml_node> children_;
};

zel::result_t HandDocument(std::shared_ptr<Tree> tree, zel::IXmlNode** out) {
  pugi::xml_node root = tree->document;
  XmlNode* made = new (std::nothrow) XmlNode(std::move(tree), root);
  if (made == nullptr) return Counted(XmlFactory::kOutOfMemory);
  *out = made;
  return zel::kOk;
}

// Writes one line to a host tracer, cut to the record's capacity.
void TraceLine(zel::ITracer* tracer, std::uint32_t level, std::string_view text) {
  if (tracer == nullptr) return;
  zel::TraceRecord record{};
  if (tracer->BeginRecord(level, &record, 512) != 0) return;
  std::size_t length = 0;
  if (record.text != nullptr && record.capacity > 0) {
    length = std::min<std::size_t>(text.size(), record.capacity - 1);
    std::memcpy(record.text, text.data(), length);
    record.text[length] = '\0';
  }
  record.length = static_cast<std::uint32_t>(length);
  if (record.sink != nullptr) record.sink->Commit(&record);
}

}  // namespace

XmlFactory::XmlFactory(zel::ITracer* tracer, std::size_t maxBytes)
    : tracer_(tracer), maxBytes_(maxBytes) {}

XmlFactory::~XmlFactory() = default;

zel::result_t XmlFactory::CreateDocument(zel::IXmlNode** out) {
  if (out == nullptr) return zel::kErrInvalidArgument;
  *out = nullptr;
  try {
    return HandDocument(std::make_shared<Tree>(), out);
  } catch (const std::bad_alloc&) {
    return Counted(kOutOfMemory);
  }
}

zel::result_t XmlFactory::OpenDocument(zel::IIo* source, std::uint32_t format,
                                       zel::IXmlNode** out) {
  if (out == nullptr) return zel::kErrInvalidArgument;
  *out = nullptr;
  if (source == nullptr) return zel::kErrInvalidArgument;
  if (format != zel::IXmlFactory::kFormatXmlText) return kNotSupported;
  try {
    // Refuse an oversized document before reading it when its size is known;
    // the read below enforces the cap for streams that cannot tell.
    std::uint64_t size = 0;
    const zel::result_t sized = source->GetSize(&size);
    if (sized == kTooBig || (sized == zel::kOk && size > maxBytes_)) {
      Fail(sized == kTooBig ? "xml: document exceeds its file's cap"
                            : "xml: document of " + std::to_string(size) +
                                  " bytes exceeds the limit of " + std::to_string(maxBytes_));
      return kTooBig;
    }
    std::string content;
    char chunk[16384];
    for (;;) {
      std::uint32_t got = 0;
      const zel::result_t code = source->Read(chunk, sizeof chunk, &got);
      if (zel::Failed(code)) {
        Fail("xml: cannot read the document");
        return Counted(code);
      }
      if (got == 0) break;
      if (got > sizeof chunk || content.size() + got > maxBytes_) {
        Fail("xml: document exceeds the limit of " + std::to_string(maxBytes_) + " bytes");
        return kTooBig;
      }
      content.append(chunk, got);
    }

    auto tree = std::make_shared<Tree>();
    const pugi::xml_parse_result parsed =
        tree->document.load_buffer(content.data(), content.size(), kParseOptions);
    // A document without any element opens as a document without children;
    // its reader decides what an empty list means.
    if (!parsed && parsed.status != pugi::status_no_document_element) {
      if (parsed.status == pugi::status_out_of_memory) return Counted(kOutOfMemory);
      XmlParseError parse{parsed.description(), 1, 1};
      const std::size_t stop = std::min<std::size_t>(static_cast<std::size_t>(parsed.offset),
                                                     content.size());
      for (std::size_t k = 0; k < stop; ++k) {
        parse.column = content[k] == '\n' ? 1 : parse.column + 1;
        if (content[k] == '\n') ++parse.line;
      }
      Fail(std::string("xml: ") + parsed.description() + " at offset " +
           std::to_string(parsed.offset), std::move(parse));
      return kParseError;
    }
    {
      std::lock_guard<std::mutex> hold(mutex_);
      lastParseError_ = {};
    }
    return HandDocument(std::move(tree), out);
  } catch (const std::bad_alloc&) {
    return Counted(kOutOfMemory);
  }
}

XmlParseError XmlFactory::last_parse_error() const {
  std::lock_guard<std::mutex> hold(mutex_);
  return lastParseError_;
}

void XmlFactory::Fail(std::string text, XmlParseError parse) {
  TraceLine(tracer_.get(), 300, text);
  std::lock_guard<std::mutex> hold(mutex_);
  lastParseError_ = std::move(parse);
}

}  // namespace vor::host
