#include "output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <streambuf>

#include "module/tool_facts.h"
#include "vor/session.h"
#include "vor/utf.h"

namespace vorctl {
namespace {

class StdoutBuffer final : public std::streambuf {
 public:
  StdoutBuffer() { setp(buffer_, buffer_ + sizeof buffer_); }

  bool Flush(int& error) {
    const char* at = pbase();
    while (error_ == 0 && at < pptr()) {
      const ssize_t n = ::write(STDOUT_FILENO, at, static_cast<std::size_t>(pptr() - at));
      if (n > 0) {
        at += n;
      } else if (n < 0 && errno != EINTR) {
        error_ = errno;
      }
    }
    setp(buffer_, buffer_ + sizeof buffer_);  // after a failure, what follows is dropped
    error = error_;
    return error_ == 0;
  }

 protected:
  int_type overflow(int_type c) override {
    int ignored;
    Flush(ignored);
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
      *pptr() = traits_type::to_char_type(c);
      pbump(1);
    }
    return traits_type::not_eof(c);
  }
  int sync() override {
    int ignored;
    return Flush(ignored) ? 0 : -1;
  }

 private:
  char buffer_[1 << 16];
  int error_ = 0;
};

StdoutBuffer& Buffer() {
  static StdoutBuffer buffer;
  return buffer;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, Shown shown) {
  vor::utf::Escape(shown.text, [&out](char c) { out.put(c); });
  return out;
}

std::string ShownText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  vor::utf::Escape(text, [&out](char c) { out += c; });
  return out;
}

std::ostream& Out() {
  static std::ostream stream(&Buffer());
  return stream;
}

void Write(std::string_view text) {
  Buffer().sputn(text.data(), static_cast<std::streamsize>(text.size()));
}

void Write(Shown shown) {
  StdoutBuffer& buffer = Buffer();
  vor::utf::Escape(shown.text, [&buffer](char c) { buffer.sputc(c); });
}

bool FlushOutput(int& error) { return Buffer().Flush(error); }

std::string FormatResult(std::uint32_t code) {
  char text[11];
  std::snprintf(text, sizeof text, "0x%08x", code);
  return text;
}

std::string ResultMessage(std::uint32_t code) { return vor_result_message(code); }

std::string JsonLine(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

void PrintJson(const Json& value) { Write(JsonLine(value)); }

// What stdout holds goes out before a message on stderr, so that in a
// terminal each message follows the answers it is about.
std::ostream& Err() {
  int ignored;
  Buffer().Flush(ignored);
  return std::cerr;
}

// One write per message: stderr is unbuffered, and a line should reach it whole.
void PrintModuleFailure(std::string_view what, std::uint32_t code) {
  Err() << "vorctl: " + ShownText(what) + ": " + ShownText(ResultMessage(code)) + " (" +
               FormatResult(code) + ")\n";
}

void PrintErrnoFailure(std::string_view what, int error) {
  const std::uint32_t code = vor::facts::ResultFromErrno(error);
  Err() << "vorctl: " + ShownText(what) + ": " + ShownText(std::strerror(error)) + " (" +
               FormatResult(code) + ")\n";
}

void PrintError(std::string_view message) { Err() << "vorctl: " + ShownText(message) + '\n'; }

void PrintWarning(std::string_view message) {
  Err() << "vorctl: warning: " + ShownText(message) + '\n';
}

}  // namespace vorctl
