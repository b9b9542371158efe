// Failures of the host's own services — an allocation refused, an XML call
// that could not complete, a trace line that could not be kept — tallied per
// thread. A load of the process list runs on one thread: a tally that grew
// while it ran means the module may have been handed less than the document
// holds, and the load is reported failed whatever the module accepted.
#ifndef VOR_HOST_HOST_FAILURES_H_
#define VOR_HOST_HOST_FAILURES_H_

#include <cstdint>

#include "vor/result.h"

namespace vor::host {

// Tallies one failure with its code on the calling thread. Never allocates.
void NoteHostFailure(zel::result_t code) noexcept;

// Counts the calling thread's failures while it lives; watches nest.
class HostFailureWatch {
 public:
  HostFailureWatch() noexcept;
  ~HostFailureWatch();
  HostFailureWatch(const HostFailureWatch&) = delete;
  HostFailureWatch& operator=(const HostFailureWatch&) = delete;

  std::uint32_t failures() const noexcept;
  // The code of the first failure since construction; VOR_OK when none.
  zel::result_t first() const noexcept;

 private:
  std::uint32_t outerStart_;
  zel::result_t outerFirst_;
};

}  // namespace vor::host

#endif  // VOR_HOST_HOST_FAILURES_H_
