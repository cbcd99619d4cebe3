#include "FailingParts.h"

#include <dlfcn.h>

#include <cstring>
#include <string_view>

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>

FailingParts failing;

namespace {

/// The function that this program's own hides.
template <class Function>
Function* hidden(const char* symbol) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, symbol));
}

std::ptrdiff_t convert(const void* from, std::size_t length, unsigned char* buffer) {
  if (failing.converters) {
    return -1;
  }
  std::memcpy(buffer, from, length);
  return static_cast<std::ptrdiff_t>(length);
}

}  // namespace

namespace Snmp {

std::ptrdiff_t StringToAsnOctetString(const Pomel::String& value, unsigned char* buffer,
                                      std::size_t /*size*/) {
  // The index of a row goes through here too and must keep its value.
  const bool index = value.view() == "k1";
  if (index) {
    std::memcpy(buffer, "k1", 2);
    return 2;
  }
  return convert(value.c_str(), value.size(), buffer);
}
std::ptrdiff_t SnmpBytesToAsnOctetString(const Bytes& value, unsigned char* buffer,
                                         std::size_t /*size*/) {
  return convert(value.view().data(), value.size(), buffer);
}
std::ptrdiff_t U32ToAsnUnsigned(std::uint32_t value, unsigned char* buffer, std::size_t /*size*/) {
  const long number = value;
  return convert(&number, sizeof number, buffer);
}
std::ptrdiff_t S32ToAsnInteger(std::int32_t value, unsigned char* buffer, std::size_t /*size*/) {
  return convert(&value, sizeof value, buffer);
}
String AsnOctetStringToSnmpString(const unsigned char* octets, std::size_t length) {
  if (failing.hintThrows) {
    failing.hintThrows();
  }
  return std::string_view(reinterpret_cast<const char*>(octets), length);
}

}  // namespace Snmp

extern "C" netsnmp_variable_list* snmp_varlist_add_variable(netsnmp_variable_list** list,
                                                            const oid* name, size_t nameLength,
                                                            u_char type, const void* value,
                                                            size_t length) {
  return failing.indexVariable
             ? nullptr
             : hidden<decltype(snmp_varlist_add_variable)>("snmp_varlist_add_variable")(
                   list, name, nameLength, type, value, length);
}

extern "C" netsnmp_mib_handler* netsnmp_get_serialize_handler() {
  return failing.serializeHandler
             ? nullptr
             : hidden<decltype(netsnmp_get_serialize_handler)>("netsnmp_get_serialize_handler")();
}
