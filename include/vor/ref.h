// Ref<T>: holds one counted reference to a zel::IObject-derived interface.
// The module and hosts use it so that every exit path releases what it took.
#ifndef VOR_REF_H_
#define VOR_REF_H_

#include <utility>

namespace vor {

template <class T>
class Ref {
 public:
  Ref() = default;
  Ref(std::nullptr_t) {}
  // Takes a new reference on `p`.
  explicit Ref(T* p) : p_(p) {
    if (p_) p_->AddRef();
  }
  // Takes over a reference that the caller already owns (an out parameter).
  static Ref Adopt(T* p) {
    Ref r;
    r.p_ = p;
    return r;
  }

  Ref(const Ref& other) : Ref(other.p_) {}
  Ref(Ref&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
  Ref& operator=(const Ref& other) {
    Ref(other).swap(*this);
    return *this;
  }
  Ref& operator=(Ref&& other) noexcept {
    Ref(std::move(other)).swap(*this);
    return *this;
  }
  ~Ref() { reset(); }

  void reset() {
    if (T* p = std::exchange(p_, nullptr)) p->Release();
  }
  // Releases the current reference and returns the slot for an out parameter.
  T** put() {
    reset();
    return &p_;
  }
  void** put_void() { return reinterpret_cast<void**>(put()); }
  T* detach() { return std::exchange(p_, nullptr); }
  void swap(Ref& other) noexcept { std::swap(p_, other.p_); }

  T* get() const { return p_; }
  T* operator->() const { return p_; }
  explicit operator bool() const { return p_ != nullptr; }

 private:
  T* p_ = nullptr;
};

}  // namespace vor

#endif  // VOR_REF_H_
