#pragma once

#include <compare>
#include <ostream>

#include "Pomel/String.h"

namespace Snmp {

/// A string that is an SNMP index. Ordered as its instance sub-identifiers are when the index is
/// not IMPLIED (RFC 2578 section 7.7): the shorter first, then by unsigned octets.
class String {
 public:
  String() = default;
  explicit(false) String(Pomel::String value) : value_(std::move(value)) {}
  explicit(false) String(std::string_view value) : value_(value) {}
  explicit(false) String(const char* value) : value_(value) {}

  [[nodiscard]] const Pomel::String& value() const noexcept { return value_; }
  [[nodiscard]] std::string_view view() const noexcept { return value_.view(); }
  [[nodiscard]] std::size_t size() const noexcept { return value_.size(); }
  [[nodiscard]] std::uint64_t hash(std::uint64_t seed) const noexcept { return value_.hash(seed); }

  friend bool operator==(const String&, const String&) = default;
  friend std::strong_ordering operator<=>(const String& a, const String& b) noexcept {
    // char_traits<char> compares as unsigned char.
    return a.size() != b.size() ? a.size() <=> b.size() : a.value_ <=> b.value_;
  }
  friend std::ostream& operator<<(std::ostream& out, const String& text) {
    return out << text.value_;
  }

 private:
  Pomel::String value_;
};

/// Octets that are looked for among Strings, in their order, without being made one.
class KeyView {
 public:
  explicit KeyView(std::string_view octets) : octets_(octets) {}

  friend std::strong_ordering operator<=>(KeyView a, const String& b) noexcept {
    return a.octets_.size() != b.size() ? a.octets_.size() <=> b.size() : a.octets_ <=> b.view();
  }

 private:
  std::string_view octets_;
};

/// A string of octets that is no text.
class Bytes {
 public:
  Bytes() = default;
  explicit Bytes(Pomel::String octets) : octets_(std::move(octets)) {}
  explicit Bytes(std::string_view octets) : octets_(octets) {}

  [[nodiscard]] const Pomel::String& octets() const noexcept { return octets_; }
  [[nodiscard]] std::string_view view() const noexcept { return octets_.view(); }
  [[nodiscard]] std::size_t size() const noexcept { return octets_.size(); }

  friend bool operator==(const Bytes&, const Bytes&) = default;

 private:
  Pomel::String octets_;
};

}  // namespace Snmp
