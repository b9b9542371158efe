// A service locator that records what it is asked for and refuses chosen
// interfaces, for tests of the paths where a host service cannot be had.
#ifndef VOR_TESTS_TESTING_HOST_REFUSING_LOCATOR_H_
#define VOR_TESTS_TESTING_HOST_REFUSING_LOCATOR_H_

#include <cstdint>
#include <mutex>
#include <set>

#include "host/service_locator.h"

namespace vor::testing {

class RefusingLocator : public host::ServiceLocator {
 public:
  // GetInterface for `iid` answers `code` until Allow(iid).
  void Refuse(std::uint32_t iid, zel::result_t code = zel::kErrNotFound);
  void Allow(std::uint32_t iid);
  // Refuses every interface asked after the first `n` successful answers
  // (counted from now); a negative value turns it off.
  void RefuseAfter(int n);

  zel::result_t GetInterface(std::uint32_t iid, std::uint32_t serviceId, void** out) override;

  // Requests, and the interfaces they named, since the last ResetCount.
  std::uint64_t asks() const;
  std::set<std::uint32_t> asked() const;
  void ResetCount();

 private:
  mutable std::mutex mutex_;
  std::set<std::uint32_t> refused_;
  zel::result_t code_ = zel::kErrNotFound;
  int remaining_ = -1;
  std::uint64_t asks_ = 0;
  std::set<std::uint32_t> asked_;
};

}  // namespace vor::testing

#endif  // VOR_TESTS_TESTING_HOST_REFUSING_LOCATOR_H_
