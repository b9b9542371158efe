#include "host/session_tracer.h"

#include <memory>
#include <new>

#include "vor/result.h"

namespace vor::host {
namespace {

// The collection this thread has open, and the tracer it belongs to. One
// object: in a shared library each thread_local costs a lookup per use, and
// every check passes here several times.
struct Collection {
  const void* owner = nullptr;
  std::uint32_t level = 0;
  std::vector<std::string>* lines = nullptr;
  bool raw = false;
};
thread_local Collection t_collection;

bool Collecting(const Collection& c, const void* tracer, std::uint32_t level) {
  return c.owner == tracer && c.lines != nullptr && level <= c.level;
}

}  // namespace

SessionTracer::SessionTracer(std::uint32_t level, Callback callback)
    : level_(callback ? level : 0), callback_(std::move(callback)) {}

SessionTracer::~SessionTracer() = default;

SessionTracer::Collect::Collect(SessionTracer& tracer, std::uint32_t level,
                                std::vector<std::string>& lines, bool raw) {
  Collection& current = t_collection;
  previousOwner_ = current.owner;
  previousLevel_ = current.level;
  previousLines_ = current.lines;
  previousRaw_ = current.raw;
  current = {&tracer, level, &lines, raw};
}

SessionTracer::Collect::~Collect() {
  t_collection = {previousOwner_, previousLevel_, previousLines_, previousRaw_};
}

zel::result_t SessionTracer::BeginRecord(std::uint32_t level, zel::TraceRecord* record,
                                         std::uint32_t capacity) {
  if (record == nullptr || capacity == 0) return VOR_E_INVALID_ARGUMENT;
  if (level > level_ && !Collecting(t_collection, this, level)) {
    return VOR_E_TRACE_LEVEL_PROHIBITED;
  }
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
    const Collection& collection = t_collection;
    if (Collecting(collection, this, record->level)) {
      collection.lines->push_back(collection.raw ? std::string(text.get(), length) : std::move(line));
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
