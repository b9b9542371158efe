// A tracer that keeps every committed line with its level, for tests that
// compare trace lines as text.
#ifndef VOR_TESTS_TESTING_HOST_CAPTURING_TRACER_H_
#define VOR_TESTS_TESTING_HOST_CAPTURING_TRACER_H_

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "host/host_object.h"
#include "vor/host_services.h"

namespace vor::testing {

struct TraceEntry {
  std::uint32_t level;
  std::string text;
};

class CapturingTracer : public host::HostObject<zel::ITracer>, private zel::ITraceSink {
 public:
  // Levels above `threshold` are disabled.
  explicit CapturingTracer(std::uint32_t threshold = 1000) : threshold_(threshold) {}

  zel::result_t BeginRecord(std::uint32_t level, zel::TraceRecord* record,
                            std::uint32_t capacity) override;

  void set_threshold(std::uint32_t threshold);
  // Every BeginRecord fails with `code` while set (0 turns it off).
  void set_failure(zel::result_t code);
  // Number of BeginRecord calls that were answered "enabled".
  std::size_t begun() const;

  std::vector<TraceEntry> entries() const;
  std::vector<std::string> lines() const;
  // Lines at exactly `level`.
  std::vector<std::string> lines(std::uint32_t level) const;
  // True when some line contains `text`.
  bool Contains(const std::string& text) const;
  void Clear();

 private:
  void Commit(zel::TraceRecord* record) override;

  mutable std::mutex mutex_;
  std::uint32_t threshold_;
  zel::result_t failure_ = 0;
  std::size_t begun_ = 0;
  std::vector<TraceEntry> entries_;
};

}  // namespace vor::testing

#endif  // VOR_TESTS_TESTING_HOST_CAPTURING_TRACER_H_
