#include "host/host_failures.h"

namespace vor::host {
namespace {

// Plain thread-local data, no destructor: in a program linked with
// libvor-host it lies in each thread's static TLS, allocated with the thread,
// so a thread whose memory has run out can still count. The default TLS
// model, not initial-exec: a process that loads libvor-host with dlopen
// (Python's ctypes) has too little static TLS left for the library's block.
struct Tally {
  std::uint32_t count;       // failures on this thread, ever
  std::uint32_t watchStart;  // `count` when the innermost watch began
  zel::result_t first;       // the first code since then
};
thread_local Tally t_tally = {0, 0, VOR_OK};

}  // namespace

void NoteHostFailure(zel::result_t code) noexcept {
  Tally& tally = t_tally;
  if (tally.count == tally.watchStart) tally.first = code;
  ++tally.count;
}

HostFailureWatch::HostFailureWatch() noexcept
    : outerStart_(t_tally.watchStart), outerFirst_(t_tally.first) {
  t_tally.watchStart = t_tally.count;
  t_tally.first = VOR_OK;
}

HostFailureWatch::~HostFailureWatch() {
  Tally& tally = t_tally;
  // The outer watch saw these failures too: when it had none before this
  // one began, this one's first is its first.
  if (tally.watchStart == outerStart_) outerFirst_ = tally.first;
  tally.watchStart = outerStart_;
  tally.first = outerFirst_;
}

std::uint32_t HostFailureWatch::failures() const noexcept { return t_tally.count - t_tally.watchStart; }

zel::result_t HostFailureWatch::first() const noexcept { return t_tally.first; }

}  // namespace vor::host
