#pragma once

#include <cstddef>
#include <cstdint>

#include "Snmp/String.h"

namespace Snmp {

// Values on their way into a varbind: each writes what snmp_set_var_typed_value (net-snmp,
// snmp_client.c) expects for its tag into `buffer` of `size` octets, and returns the number of
// octets, or a negative number when the buffer is null or cannot hold a number.

/// The string's octets, as OCTET STRING. Returns the string's own length, also when only its
/// beginning fits: the caller refuses what is longer than its buffer.
[[nodiscard]] std::ptrdiff_t StringToAsnOctetString(const Pomel::String& value,
                                                    unsigned char* buffer, std::size_t size);
[[nodiscard]] std::ptrdiff_t SnmpBytesToAsnOctetString(const Bytes& value, unsigned char* buffer,
                                                       std::size_t size);

/// A native 8-octet long. As INTEGER it keeps its value up to 4294967295: a 4-octet one would be
/// read as signed.
[[nodiscard]] std::ptrdiff_t U32ToAsnUnsigned(std::uint32_t value, unsigned char* buffer,
                                              std::size_t size);

/// A native 4-octet int. As INTEGER it keeps its sign: an 8-octet one below zero would be cut to 32
/// bits and read as unsigned.
[[nodiscard]] std::ptrdiff_t S32ToAsnInteger(std::int32_t value, unsigned char* buffer,
                                             std::size_t size);

/// The other way round: an index from the octets of a request. Throws Qiv::RangeError for more than
/// 65535 octets, the bound of an OCTET STRING (RFC 2578 section 7.1.2).
[[nodiscard]] String AsnOctetStringToSnmpString(const unsigned char* octets, std::size_t length);

}  // namespace Snmp
