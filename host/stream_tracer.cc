#include "host/stream_tracer.h"

#include <memory>
#include <new>

namespace vor::host {

StreamTracer::StreamTracer(std::FILE* stream, std::uint32_t threshold)
    : stream_(stream), owned_(false), threshold_(threshold) {}

StreamTracer::StreamTracer(const std::string& path, std::uint32_t threshold)
    : stream_(std::fopen(path.c_str(), "we")), owned_(true), threshold_(threshold) {}

StreamTracer::~StreamTracer() {
  if (owned_ && stream_ != nullptr) std::fclose(stream_);
}

zel::result_t StreamTracer::BeginRecord(std::uint32_t level, zel::TraceRecord* record,
                                        std::uint32_t capacity) {
  if (record == nullptr || capacity == 0) return zel::kErrInvalidArgument;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    const bool to_stream = stream_ != nullptr && level <= threshold_;
    const bool to_capture = capturing_ && level <= captureLevel_;
    if (!to_stream && !to_capture) return zel::kErrTraceLevelProhibited;
  }
  char* text = new (std::nothrow) char[capacity];
  if (text == nullptr) return zel::kErrOutOfMemory;
  *record = {this, text, capacity, 0, level, 0, nullptr};
  return zel::kOk;
}

void StreamTracer::Commit(zel::TraceRecord* record) {
  std::unique_ptr<char[]> text(record->text);
  const std::uint32_t length = record->length < record->capacity ? record->length : 0;
  try {
    std::string line;
    line.reserve(length + 1);
    AppendEscaped(line, text.get(), length);
    std::lock_guard<std::mutex> lock(mutex_);
    if (capturing_ && record->level <= captureLevel_) captured_.push_back(line);
    if (stream_ != nullptr && record->level <= threshold_) {
      line += '\n';
      std::fwrite(line.data(), 1, line.size(), stream_);
      std::fflush(stream_);
    }
  } catch (...) {
    // A line that cannot be formatted is lost; the module must not see a throw.
  }
}

void StreamTracer::StartCapture(std::uint32_t level) {
  std::lock_guard<std::mutex> lock(mutex_);
  capturing_ = true;
  captureLevel_ = level;
  captured_.clear();
}

std::vector<std::string> StreamTracer::StopCapture() {
  std::lock_guard<std::mutex> lock(mutex_);
  capturing_ = false;
  return std::move(captured_);
}

void StreamTracer::AppendEscaped(std::string& line, const char* text, std::size_t length) {
  static constexpr char kHex[] = "0123456789abcdef";
  for (std::size_t i = 0; i < length; ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
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
      line += static_cast<char>(c);
    }
  }
}

}  // namespace vor::host
