// Fault injection as thin wrappers around the reference host's own storage
// and XML services: every call made on a wrapped family asks its FaultPlan
// whether to fail. The plan counts the calls as steps and fails the chosen
// one, so a sweep can fail each in turn; a test may choose its own way.
#ifndef VOR_TESTS_TESTING_HOST_FAULTS_H_
#define VOR_TESTS_TESTING_HOST_FAULTS_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "host/host_object.h"
#include "vor/io.h"
#include "vor/ref.h"
#include "vor/xml.h"

namespace vor::testing {

// The code a failing step answers: an I/O error the module cannot foresee.
inline constexpr zel::result_t kInjectedFault = zel::kErrMedia;

class FaultPlan {
 public:
  virtual ~FaultPlan() = default;
  // Whether the call named `call` on the wrapped `target` fails (or throws).
  virtual bool Fails(const char* /*call*/, zel::IObject* /*target*/) { return Step(); }
  // Counts steps from zero again; the `k`-th (1-based) fails, 0 never.
  void FailAt(std::uint64_t k) {
    steps_.store(0);
    failAt_.store(k);
  }
  // Counts one step; true when it is the one to fail.
  bool Step() { return steps_.fetch_add(1) + 1 == failAt_.load(); }
  std::uint64_t steps() const { return steps_.load(); }

 private:
  std::atomic<std::uint64_t> steps_{0};
  std::atomic<std::uint64_t> failAt_{0};
};

using PlanRef = std::shared_ptr<FaultPlan>;

template <class Interface>
class Faulty : public host::HostObject<Interface> {
 public:
  Faulty(Ref<Interface> inner, PlanRef plan) : inner_(std::move(inner)), plan_(std::move(plan)) {}

 protected:
  // Forwards `call` to the wrapped object unless the plan fails it.
  template <class Call>
  zel::result_t Pass(const char* name, Call call) {
    return plan_->Fails(name, inner_.get()) ? kInjectedFault : call(*inner_.get());
  }
  // As Pass, for a call that hands out an object: it comes back as a `Wrapper`.
  template <class Wrapper, class Out, class Call>
  zel::result_t PassOut(const char* name, Out** out, Call call) {
    if (plan_->Fails(name, inner_.get())) return kInjectedFault;
    Ref<Out> object;
    const zel::result_t code = call(*inner_.get(), object.put());
    if (code != 0 || !object) return code;
    *out = host::MakeHostObject<Wrapper>(std::move(object), plan_).detach();
    return 0;
  }

  Ref<Interface> inner_;
  PlanRef plan_;
};

#define VOR_PASS(call) return Pass(__func__, [&](auto& inner) { return inner.call; })
#define VOR_PASS_OUT(Wrapper, out, call) \
  return PassOut<Wrapper>(__func__, out, [&](auto& inner, auto put) { return inner.call; })

class FaultyIo final : public Faulty<zel::IIo> {
 public:
  using Faulty::Faulty;
  zel::result_t Read(void* buffer, std::uint32_t size, std::uint32_t* done) override {
    VOR_PASS(Read(buffer, size, done));
  }
  zel::result_t Write(const void* buffer, std::uint32_t size, std::uint32_t* done) override {
    VOR_PASS(Write(buffer, size, done));
  }
  zel::result_t Seek(std::int64_t offset, std::uint32_t origin, std::uint64_t* position) override {
    VOR_PASS(Seek(offset, origin, position));
  }
  zel::result_t SetSize(std::uint64_t size) override { VOR_PASS(SetSize(size)); }
  zel::result_t GetSize(std::uint64_t* size) override { VOR_PASS(GetSize(size)); }
};

class FaultyStorage final : public Faulty<zel::IStorage> {
 public:
  using Faulty::Faulty;
  zel::result_t Open(const char16_t* name, std::uint32_t mode, zel::IIo** out) override {
    if (out != nullptr) *out = nullptr;
    VOR_PASS_OUT(FaultyIo, out, Open(name, mode, put));
  }
};

class FaultyXmlNode final : public Faulty<zel::IXmlNode> {
 public:
  using Faulty::Faulty;
  zel::result_t GetDocument(zel::IXmlNode** out) override {
    VOR_PASS_OUT(FaultyXmlNode, out, GetDocument(put));
  }
  zel::result_t GetParent(zel::IXmlNode** out) override {
    VOR_PASS_OUT(FaultyXmlNode, out, GetParent(put));
  }
  zel::result_t GetType(std::uint32_t* type) override { VOR_PASS(GetType(type)); }
  zel::result_t GetName(zel::IStringOut* name) override { VOR_PASS(GetName(name)); }
  zel::result_t GetChildCount(std::uint32_t* count) override { VOR_PASS(GetChildCount(count)); }
  zel::result_t FindChild(const char* name, zel::IXmlNode** out) override {
    VOR_PASS_OUT(FaultyXmlNode, out, FindChild(name, put));
  }
  zel::result_t GetChild(std::uint32_t index, zel::IXmlNode** out) override {
    VOR_PASS_OUT(FaultyXmlNode, out, GetChild(index, put));
  }
  zel::result_t GetText(zel::IStringOut* text) override { VOR_PASS(GetText(text)); }
  zel::result_t GetValueCount(std::uint32_t* count) override { VOR_PASS(GetValueCount(count)); }
  zel::result_t GetValueName(std::uint32_t index, zel::IStringOut* name) override {
    VOR_PASS(GetValueName(index, name));
  }
  zel::result_t GetValue(const char* name, zel::IStringOut* value, std::uint32_t flags) override {
    VOR_PASS(GetValue(name, value, flags));
  }
};

class FaultyXmlFactory final : public Faulty<zel::IXmlFactory> {
 public:
  using Faulty::Faulty;
  zel::result_t CreateDocument(zel::IXmlNode** out) override {
    VOR_PASS_OUT(FaultyXmlNode, out, CreateDocument(put));
  }
  zel::result_t OpenDocument(zel::IIo* source, std::uint32_t format, zel::IXmlNode** out) override {
    VOR_PASS_OUT(FaultyXmlNode, out, OpenDocument(source, format, put));
  }
};

#undef VOR_PASS
#undef VOR_PASS_OUT

}  // namespace vor::testing

#endif  // VOR_TESTS_TESTING_HOST_FAULTS_H_
