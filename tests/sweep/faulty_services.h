// Host services that fail on demand: a storage whose streams, an XML factory
// whose nodes, and a locator that records what the module asks for. Every
// call made on a storage (or XML) family counts as one step of its FaultPlan,
// so a sweep can fail each step in turn.
#ifndef VOR_TESTS_SWEEP_FAULTY_SERVICES_H_
#define VOR_TESTS_SWEEP_FAULTY_SERVICES_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>

#include "host/host_object.h"
#include "vor/io.h"
#include "vor/object.h"
#include "vor/ref.h"
#include "vor/xml.h"

namespace vor::testing {

// The code a failing step answers: an I/O error the module cannot foresee.
inline constexpr zel::result_t kInjectedFault = zel::kErrUnexpected;

class FaultPlan {
 public:
  // Counts steps from zero again; the `k`-th (1-based) fails, 0 never.
  void FailAt(std::uint64_t k) {
    steps_.store(0);
    failAt_.store(k);
  }
  // Counts one step; true when it is the one to fail.
  bool Step() {
    const std::uint64_t n = steps_.fetch_add(1) + 1;
    return n == failAt_.load();
  }
  std::uint64_t steps() const { return steps_.load(); }

 private:
  std::atomic<std::uint64_t> steps_{0};
  std::atomic<std::uint64_t> failAt_{0};
};

class FaultyIo : public host::HostObject<zel::IIo> {
 public:
  FaultyIo(Ref<zel::IIo> inner, std::shared_ptr<FaultPlan> plan)
      : inner_(std::move(inner)), plan_(std::move(plan)) {}

  zel::result_t Read(void* buffer, std::uint32_t size, std::uint32_t* bytesRead) override;
  zel::result_t Write(const void* buffer, std::uint32_t size, std::uint32_t* bytesWritten) override;
  zel::result_t Seek(std::int64_t offset, std::uint32_t origin, std::uint64_t* position) override;
  zel::result_t SetSize(std::uint64_t size) override;
  zel::result_t GetSize(std::uint64_t* size) override;

 private:
  Ref<zel::IIo> inner_;
  std::shared_ptr<FaultPlan> plan_;
};

class FaultyStorage : public host::HostObject<zel::IStorage> {
 public:
  FaultyStorage(Ref<zel::IStorage> inner, std::shared_ptr<FaultPlan> plan)
      : inner_(std::move(inner)), plan_(std::move(plan)) {}

  zel::result_t Open(const char16_t* name, std::uint32_t mode, zel::IIo** out) override;

 private:
  Ref<zel::IStorage> inner_;
  std::shared_ptr<FaultPlan> plan_;
};

class FaultyXmlNode : public host::HostObject<zel::IXmlNode> {
 public:
  FaultyXmlNode(Ref<zel::IXmlNode> inner, std::shared_ptr<FaultPlan> plan)
      : inner_(std::move(inner)), plan_(std::move(plan)) {}

  zel::result_t GetDocument(zel::IXmlNode** out) override;
  zel::result_t GetParent(zel::IXmlNode** out) override;
  zel::result_t GetType(std::uint32_t* type) override;
  zel::result_t GetName(zel::IStringOut* name) override;
  zel::result_t GetChildCount(std::uint32_t* count) override;
  zel::result_t FindChild(const char* name, zel::IXmlNode** out) override;
  zel::result_t GetChild(std::uint32_t index, zel::IXmlNode** out) override;
  zel::result_t GetText(zel::IStringOut* text) override;
  zel::result_t GetValueCount(std::uint32_t* count) override;
  zel::result_t GetValueName(std::uint32_t index, zel::IStringOut* name) override;
  zel::result_t GetValue(const char* name, zel::IStringOut* value, std::uint32_t flags) override;

 private:
  Ref<zel::IXmlNode> inner_;
  std::shared_ptr<FaultPlan> plan_;
};

class FaultyXmlFactory : public host::HostObject<zel::IXmlFactory> {
 public:
  FaultyXmlFactory(Ref<zel::IXmlFactory> inner, std::shared_ptr<FaultPlan> plan)
      : inner_(std::move(inner)), plan_(std::move(plan)) {}

  zel::result_t CreateDocument(zel::IXmlNode** out) override;
  zel::result_t OpenDocument(zel::IIo* source, std::uint32_t format, zel::IXmlNode** out) override;

 private:
  Ref<zel::IXmlFactory> inner_;
  std::shared_ptr<FaultPlan> plan_;
};

// Forwards to `inner` and remembers which interfaces were asked for.
class RecordingLocator : public host::HostObject<zel::IServiceLocator> {
 public:
  explicit RecordingLocator(Ref<zel::IServiceLocator> inner) : inner_(std::move(inner)) {}

  zel::result_t GetInterface(std::uint32_t iid, std::uint32_t serviceId, void** out) override;

  // Requests (and the interfaces asked) since the last ResetCount.
  std::uint64_t asks() const { return asks_.load(); }
  void ResetCount();
  std::set<std::uint32_t> asked() const;

 private:
  Ref<zel::IServiceLocator> inner_;
  std::atomic<std::uint64_t> asks_{0};
  mutable std::mutex mutex_;
  std::set<std::uint32_t> asked_;
};

}  // namespace vor::testing

#endif  // VOR_TESTS_SWEEP_FAULTY_SERVICES_H_
