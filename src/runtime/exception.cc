#include "runtime/exception.h"

#include <algorithm>
#include <cstring>

#include "runtime/format.h"
#include "runtime/result.h"

namespace zel {
namespace {

// Appends to a fixed, NUL-terminated buffer; excess text is cut.
class FixedWriter {
 public:
  FixedWriter(char* buffer, std::size_t capacity) : buffer_(buffer), limit_(capacity - 1) {
    buffer_[0] = '\0';
  }
  FixedWriter& operator<<(std::string_view text) {
    const std::size_t n = std::min(text.size(), limit_ - length_);
    std::memcpy(buffer_ + length_, text.data(), n);
    length_ += n;
    buffer_[length_] = '\0';
    return *this;
  }
  FixedWriter& Unsigned(std::uint64_t value, unsigned base) {
    char digits[24];
    char* end = digits + sizeof digits;
    char* first = FormatUnsigned(value, base, end);
    return *this << std::string_view(first, end - first);
  }

 private:
  char* buffer_;
  std::size_t limit_;
  std::size_t length_ = 0;
};

void WriteProperty(FixedWriter& out, const ExceptionProperty& property) {
  out << property.name << "=";
  switch (property.type) {
    case kTypeTagResult:
      out << FormatCode(static_cast<result_t>(property.value)).view();
      break;
    case kTypeTagIid:
    case kTypeTagServiceKey:
      out << "0x";
      out.Unsigned(property.value, 16);
      break;
    default:
      out << "<typeid=0x";
      out.Unsigned(property.type, 16);
      out << ">";
      break;
  }
}

struct MessageText {
  char text[256];
};

// "[text: ]0x%08x (code text)"
MessageText ResultMessage(result_t code, std::string_view text) {
  MessageText message;
  FixedWriter out(message.text, sizeof message.text);
  if (!text.empty()) out << text << ": ";
  out << FormatCode(code).view() << " (" << GetResultCodeMessage(code) << ")";
  return message;
}

}  // namespace

exception::exception(const char* file, int line, std::string_view message)
    : file_(file != nullptr ? file : ""), line_(line) {
  FixedWriter(message_, sizeof message_) << message;
  Describe();
}

void exception::AddProperty(const char* name, std::uint32_t type, std::uint64_t value) {
  if (count_ < kMaxProperties) properties_[count_++] = {name, type, value};
}

std::optional<result_t> exception::result() const {
  for (const ExceptionProperty& property : properties()) {
    if (std::strcmp(property.name, "zel.result") == 0) {
      return static_cast<result_t>(property.value);
    }
  }
  return std::nullopt;
}

void exception::Describe() {
  FixedWriter out(description_, sizeof description_);
  out << file_ << "(";
  if (line_ < 0) out << "-";
  out.Unsigned(line_ < 0 ? 0 - static_cast<std::uint64_t>(line_) : line_, 10);
  out << "): " << message_ << ".";
  if (count_ != 0) {
    out << " Properties:";
    for (const ExceptionProperty& property : properties()) {
      out << " ";
      WriteProperty(out, property);
    }
    out << "\n";
  } else {
    out << " ";
  }
  // Call stacks are not captured in this build: no frame lines follow.
  out << "Call stack:\n";
}

ResultCodeException::ResultCodeException(const char* file, int line, result_t code,
                                         std::string_view text)
    : ExceptionBase(file, line, ResultMessage(code, text).text), code_(code) {
  AddProperty("zel.result", kTypeTagResult, code);
  Describe();
}

GetInterfaceException::GetInterfaceException(result_t code, std::uint32_t iid,
                                             std::uint32_t serviceKey)
    : exception("objclient", 103, "Can't get interface"),
      code_(code),
      iid_(iid),
      serviceKey_(serviceKey) {
  AddProperty("zel.iid", kTypeTagIid, iid);
  AddProperty("zel.serviceKey", kTypeTagServiceKey, serviceKey);
  Describe();
}

}  // namespace zel
