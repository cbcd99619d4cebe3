#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Qiv/Entity.h"
#include "Snmp/String.h"

namespace Snmp {

/// Makes identifiers of bounded length from names of any length. Shared by the process as the
/// singleton of its type; keeps no table of names, so churn costs no memory.
class HashShortenedIdentifier final : public Qiv::Entity {
 public:
  using Ptr = Qiv::Ptr<HashShortenedIdentifier>;
  static constexpr std::string_view kTypeName = "Snmp::HashShortenedIdentifier";

  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;

  /// The process's instance, made at its first use.
  [[nodiscard]] static Ptr singleton();

  /// An identifier of at most `maxLength` octets. A longer name becomes its own beginning, '#', and
  /// the SHA-256 digest (FIPS 180-4) of the whole name in hexadecimal, `maxLength` octets in all.
  /// With `keepShort` a name that fits stays as it is, unless it has that very form: then it is
  /// shortened too. So two names meet only where their digests do.
  /// `generation` other than 0 is mixed into the digest and gives another identifier for the same
  /// long name. Throws Qiv::RangeError when `maxLength` leaves no room for '#' and digest (65).
  [[nodiscard]] String generateUniqueId(std::string_view name, std::size_t maxLength,
                                        bool keepShort, std::uint32_t generation) const;
};

}  // namespace Snmp
