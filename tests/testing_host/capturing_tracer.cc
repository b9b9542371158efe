#include "tests/testing_host/capturing_tracer.h"

#include <memory>
#include <new>

namespace vor::testing {

zel::result_t CapturingTracer::BeginRecord(std::uint32_t level, zel::TraceRecord* record,
                                           std::uint32_t capacity) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (failure_ != 0) return failure_;
  if (record == nullptr || capacity == 0) return zel::kErrInvalidArgument;
  if (level > threshold_) return zel::kErrTraceLevelProhibited;
  char* text = new (std::nothrow) char[capacity];
  if (text == nullptr) return zel::kErrOutOfMemory;
  ++begun_;
  *record = {this, text, capacity, 0, level, 0, nullptr};
  return 0;
}

void CapturingTracer::Commit(zel::TraceRecord* record) {
  std::unique_ptr<char[]> text(record->text);
  std::lock_guard<std::mutex> lock(mutex_);
  const std::uint32_t length = record->length < record->capacity ? record->length : 0;
  entries_.push_back({record->level, std::string(text.get(), length)});
}

void CapturingTracer::set_threshold(std::uint32_t threshold) {
  std::lock_guard<std::mutex> lock(mutex_);
  threshold_ = threshold;
}

void CapturingTracer::set_failure(zel::result_t code) {
  std::lock_guard<std::mutex> lock(mutex_);
  failure_ = code;
}

std::size_t CapturingTracer::begun() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return begun_;
}

std::vector<TraceEntry> CapturingTracer::entries() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return entries_;
}

std::vector<std::string> CapturingTracer::lines() const {
  std::vector<std::string> out;
  for (const TraceEntry& entry : entries()) out.push_back(entry.text);
  return out;
}

std::vector<std::string> CapturingTracer::lines(std::uint32_t level) const {
  std::vector<std::string> out;
  for (const TraceEntry& entry : entries()) {
    if (entry.level == level) out.push_back(entry.text);
  }
  return out;
}

bool CapturingTracer::Contains(const std::string& text) const {
  for (const TraceEntry& entry : entries()) {
    if (entry.text.find(text) != std::string::npos) return true;
  }
  return false;
}

void CapturingTracer::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  entries_.clear();
  begun_ = 0;
}

}  // namespace vor::testing
