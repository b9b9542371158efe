#include "host/host_failures.h"

namespace vor::host {
namespace {

// Static TLS: no allocation on a thread's first use and no destructor, so a
// thread whose memory has run out can still count (a TLS block allocated on
// first use could abort the process instead).
struct Tally {
  std::uint32_t count;       // failures on this thread, ever
  std::uint32_t watchStart;  // `count` when the innermost watch began
  zel::result_t first;       // the first code since then
};
thread_local Tally t_tally __attribute__((tls_model("initial-exec"))) = {0, 0, VOR_OK};

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
