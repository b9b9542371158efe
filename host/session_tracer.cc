#include "host/session_tracer.h"

#include <memory>
#include <new>

#include "host/host_failures.h"
#include "vor/result.h"
#include "vor/utf.h"

namespace vor::host {
namespace {

// The collection this thread has open: one pointer, no destructor to
// register. The default TLS model, so that libvor-host can be loaded with
// dlopen (see host_failures.cc).
thread_local SessionTracer::Collect* t_collection = nullptr;

}  // namespace

SessionTracer::SessionTracer(std::uint32_t level, Callback callback)
    : level_(callback ? level : 0), callback_(std::move(callback)) {}

SessionTracer::~SessionTracer() = default;

SessionTracer::Collect::Collect(SessionTracer& tracer, std::uint32_t level, LineSink& sink) noexcept
    : tracer_(&tracer), level_(level), sink_(&sink), outer_(t_collection) {
  t_collection = this;
}

SessionTracer::Collect::~Collect() { t_collection = outer_; }

zel::result_t SessionTracer::BeginRecord(std::uint32_t level, zel::TraceRecord* record,
                                         std::uint32_t capacity) {
  if (record == nullptr || capacity == 0) return VOR_E_INVALID_ARGUMENT;
  Collect* collect = t_collection;
  const bool collecting = collect != nullptr && collect->tracer_ == this && level <= collect->level_;
  if (level > level_ && !collecting) return VOR_E_TRACE_LEVEL_PROHIBITED;
  if (collecting && !collect->lent_ && capacity <= sizeof collect->buffer_) {
    collect->lent_ = true;
    *record = {this, collect->buffer_, capacity, 0, level, 0, collect};
    return VOR_OK;
  }
  char* text = new (std::nothrow) char[capacity];
  if (text == nullptr) {
    NoteHostFailure(VOR_E_OUT_OF_MEMORY);
    return VOR_E_OUT_OF_MEMORY;
  }
  *record = {this, text, capacity, 0, level, 0, nullptr};
  return VOR_OK;
}

void SessionTracer::Commit(zel::TraceRecord* record) {
  auto* lender = static_cast<Collect*>(record->context);
  const std::uint32_t length = record->length < record->capacity ? record->length : 0;
  const std::string_view text(record->text, length);
  const Collect* collect = t_collection;
  if (collect != nullptr && collect->tracer_ == this && record->level <= collect->level_) {
    collect->sink_->Take(record->level, text);
  }
  if (record->level <= level_) {
    try {
      std::string line;
      line.reserve(length);
      AppendEscaped(line, text);
      callback_(record->level, line);
    } catch (...) {
      // A line the callback cannot take is lost; the module must not see a throw.
    }
  }
  if (lender != nullptr) {
    lender->lent_ = false;
  } else {
    delete[] record->text;
  }
}

void SessionTracer::AppendEscaped(std::string& line, std::string_view text) {
  utf::Escape(text, [&line](char c) { line += c; });
}

void LineList::Take(std::uint32_t, std::string_view line) noexcept {
  try {
    if (!escaped_) {
      lines_.emplace_back(line);
      return;
    }
    std::string text;
    SessionTracer::AppendEscaped(text, line);
    lines_.push_back(std::move(text));
  } catch (...) {
    NoteHostFailure(VOR_E_OUT_OF_MEMORY);
  }
}

}  // namespace vor::host
