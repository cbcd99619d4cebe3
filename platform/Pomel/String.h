#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

#include "Pomel/Hash.h"
#include "Pomel/RefCount.h"

namespace Pomel {

/// An immutable, shared string of octets (NUL allowed). Copying takes a reference and no bytes, so
/// that keys, records and rows can carry it by value. One pointer wide; the empty string owns
/// nothing. Up to 2^32 - 1 octets; a longer argument throws std::length_error.
class String {
 public:
  constexpr String() noexcept = default;
  explicit(false) String(std::string_view text);
  explicit(false) String(const char* text) : String(std::string_view(text)) {}
  explicit(false) String(const std::string& text) : String(std::string_view(text)) {}
  String(const String& other) noexcept : rep_(other.rep_) {
    if (rep_ != nullptr) {
      rep_->refs.inc();
    }
  }
  String(String&& other) noexcept : rep_(std::exchange(other.rep_, nullptr)) {}
  String& operator=(String other) noexcept {
    std::swap(rep_, other.rep_);
    return *this;
  }
  ~String() {
    if (rep_ != nullptr && rep_->refs.dec()) {
      free(rep_);
    }
  }

  [[nodiscard]] std::string_view view() const noexcept {
    return rep_ == nullptr ? std::string_view() : std::string_view(rep_->bytes(), rep_->size);
  }
  explicit(false) operator std::string_view() const noexcept { return view(); }
  [[nodiscard]] std::string stdString() const { return std::string(view()); }
  [[nodiscard]] std::size_t size() const noexcept { return rep_ == nullptr ? 0 : rep_->size; }
  [[nodiscard]] bool empty() const noexcept { return rep_ == nullptr; }
  /// NUL-terminated, for C interfaces.
  [[nodiscard]] const char* c_str() const noexcept { return rep_ == nullptr ? "" : rep_->bytes(); }
  [[nodiscard]] std::uint64_t hash(std::uint64_t seed) const noexcept {
    return hashBytes(seed, view());
  }

  friend bool operator==(const String& a, const String& b) noexcept {
    return a.rep_ == b.rep_ || a.view() == b.view();
  }
  friend std::strong_ordering operator<=>(const String& a, const String& b) noexcept {
    return a.rep_ == b.rep_ ? std::strong_ordering::equal : a.view() <=> b.view();
  }

 private:
  struct Rep {
    RefCount refs;
    std::uint32_t size;
    [[nodiscard]] char* bytes() noexcept { return reinterpret_cast<char*>(this + 1); }
  };
  static void free(Rep* rep) noexcept;

  Rep* rep_ = nullptr;
};

std::ostream& operator<<(std::ostream& out, const String& text);

}  // namespace Pomel
