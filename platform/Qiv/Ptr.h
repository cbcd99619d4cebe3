#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

#include "Pomel/RefCount.h"

namespace Qiv {

/// Base of everything held by counted pointers. The count lives in the object; an object is
/// destroyed when its last Ptr goes, and Ptrs taken during its destructor are harmless.
class RefCounted {
 public:
  RefCounted(const RefCounted&) = delete;
  RefCounted& operator=(const RefCounted&) = delete;

  void ref() const noexcept { refs_.inc(); }
  void unref() const noexcept {
    if (refs_.dec()) {
      refs_.pin();
      delete this;
    }
  }
  [[nodiscard]] std::uint32_t refs() const noexcept { return refs_.value(); }

 protected:
  RefCounted() = default;
  virtual ~RefCounted() = default;

 private:
  mutable Pomel::RefCount refs_;
};

/// A counted pointer, null by default. Equality is identity.
template <class T>
class Ptr {
 public:
  using element_type = T;

  constexpr Ptr() noexcept = default;
  constexpr explicit(false) Ptr(std::nullptr_t) noexcept {}
  explicit Ptr(T* object) noexcept : object_(object) {
    if (object_ != nullptr) {
      object_->ref();
    }
  }
  Ptr(const Ptr& other) noexcept : Ptr(other.object_) {}
  Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class U>
  requires std::convertible_to<U*, T*>
  explicit(false) Ptr(const Ptr<U>& other) noexcept : Ptr(static_cast<T*>(other.get())) {}
  template <class U>
  requires std::convertible_to<U*, T*>
  explicit(false) Ptr(Ptr<U>&& other) noexcept : object_(other.detach()) {}
  Ptr& operator=(Ptr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ptr() {
    if (object_ != nullptr) {
      object_->unref();
    }
  }

  [[nodiscard]] T* get() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  T* operator->() const noexcept { return object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  /// Gives the reference away without dropping it.
  [[nodiscard]] T* detach() noexcept { return std::exchange(object_, nullptr); }
  /// Takes over a reference that detach() gave away.
  [[nodiscard]] static Ptr adopt(T* object) noexcept {
    Ptr taken;
    taken.object_ = object;
    return taken;
  }

  template <class U>
  friend bool operator==(const Ptr& a, const Ptr<U>& b) noexcept {
    return a.get() == b.get();
  }
  friend bool operator==(const Ptr& a, std::nullptr_t) noexcept { return a.object_ == nullptr; }
  friend std::strong_ordering operator<=>(const Ptr& a, const Ptr& b) noexcept {
    return std::compare_three_way{}(a.object_, b.object_);
  }

 private:
  T* object_ = nullptr;
};

template <class T, class... Args>
[[nodiscard]] Ptr<T> make(Args&&... args) {
  return Ptr<T>(new T(std::forward<Args>(args)...));
}

/// The object as a T, or null when it is null or of another type.
template <class T, class U>
[[nodiscard]] Ptr<T> ptrCast(const Ptr<U>& from) noexcept {
  return Ptr<T>(dynamic_cast<T*>(from.get()));
}

}  // namespace Qiv
