#include "host/session_tracer.h"

#include <memory>
#include <new>

#include "vor/result.h"

namespace vor::host {
namespace {

// The collection this thread has open, and the tracer it belongs to.
thread_local const void* t_owner = nullptr;
thread_local std::uint32_t t_level = 0;
thread_local std::vector<std::string>* t_lines = nullptr;
thread_local bool t_raw = false;

bool Collecting(const void* tracer, std::uint32_t level) {
  return t_owner == tracer && t_lines != nullptr && level <= t_level;
}

}  // namespace

SessionTracer::SessionTracer(std::uint32_t level, Callback callback)
    : level_(callback ? level : 0), callback_(std::move(callback)) {}

SessionTracer::~SessionTracer() = default;

SessionTracer::Collect::Collect(SessionTracer& tracer, std::uint32_t level,
                                std::vector<std::string>& lines, bool raw)
    : previousOwner_(t_owner), previousLevel_(t_level), previousLines_(t_lines),
      previousRaw_(t_raw) {
  t_owner = &tracer;
  t_level = level;
  t_lines = &lines;
  t_raw = raw;
}

SessionTracer::Collect::~Collect() {
  t_owner = previousOwner_;
  t_level = previousLevel_;
  t_lines = previousLines_;
  t_raw = previousRaw_;
}

zel::result_t SessionTracer::BeginRecord(std::uint32_t level, zel::TraceRecord* record,
                                         std::uint32_t capacity) {
  if (record == nullptr || capacity == 0) return VOR_E_INVALID_ARGUMENT;
  if (level > level_ && !Collecting(this, level)) return VOR_E_TRACE_LEVEL_PROHIBITED;
  char* text = new (std::nothrow) char[capacity];
  if (text == nullptr) return VOR_E_OUT_OF_MEMORY;
  *record = {this, text, capacity, 0, level, 0, nullptr};
  return VOR_OK;
}

void SessionTracer::Commit(zel::TraceRecord* record) {
  std::unique_ptr<char[]> text(record->text);
  const std::uint32_t length = record->length < record->capacity ? record->length : 0;
  try {
    std::string line;
    line.reserve(length);
    AppendEscaped(line, std::string_view(text.get(), length));
    if (record->level <= level_) callback_(record->level, line);
    if (Collecting(this, record->level)) {
      t_lines->push_back(t_raw ? std::string(text.get(), length) : std::move(line));
    }
  } catch (...) {
    // A line that cannot be delivered is lost; the module must not see a throw.
  }
}

void SessionTracer::AppendEscaped(std::string& line, std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  for (const char ch : text) {
    const unsigned char c = static_cast<unsigned char>(ch);
    if (c == '\n') {
      line += "\\n";
    } else if (c == '\r') {
      line += "\\r";
    } else if (c == '\t') {
      line += "\\t";
    } else if (c < 0x20 || c == 0x7f) {
      line += "\\x";
      line += kHex[c >> 4];
      line += kHex[c & 0xf];
    } else {
      line += ch;
    }
  }
}

}  // namespace vor::host
