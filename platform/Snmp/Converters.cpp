#include "Snmp/Converters.h"

#include <algorithm>
#include <cstring>

#include "Qiv/Errors.h"

namespace Snmp {

namespace {

constexpr std::ptrdiff_t kFailed = -1;
constexpr std::size_t kMaxOctetString = 65535;

std::ptrdiff_t octetsTo(std::string_view octets, unsigned char* buffer, std::size_t size) {
  if (buffer == nullptr) {
    return kFailed;
  }
  octets.copy(reinterpret_cast<char*>(buffer), size);
  return static_cast<std::ptrdiff_t>(octets.size());
}

template <class Native>
std::ptrdiff_t numberTo(Native number, unsigned char* buffer, std::size_t size) {
  if (buffer == nullptr || size < sizeof(number)) {
    return kFailed;
  }
  std::memcpy(buffer, &number, sizeof(number));
  return sizeof(number);
}

}  // namespace

std::ptrdiff_t StringToAsnOctetString(const Pomel::String& value, unsigned char* buffer,
                                      std::size_t size) {
  return octetsTo(value.view(), buffer, size);
}

std::ptrdiff_t SnmpBytesToAsnOctetString(const Bytes& value, unsigned char* buffer,
                                         std::size_t size) {
  return octetsTo(value.view(), buffer, size);
}

std::ptrdiff_t U32ToAsnUnsigned(std::uint32_t value, unsigned char* buffer, std::size_t size) {
  return numberTo<long>(value, buffer, size);
}

std::ptrdiff_t S32ToAsnInteger(std::int32_t value, unsigned char* buffer, std::size_t size) {
  return numberTo<int>(value, buffer, size);
}

String AsnOctetStringToSnmpString(const unsigned char* octets, std::size_t length) {
  if (length > kMaxOctetString) {
    throw Qiv::RangeError("Snmp::String: longer than 65535 octets");
  }
  return std::string_view(reinterpret_cast<const char*>(octets), length);
}

}  // namespace Snmp
