#pragma once

#include <functional>
#include <optional>

#include "Snmp/Converters.h"

/// Parts that never fail in the product, replaced for one program: it defines the functions itself,
/// and the dynamic linker prefers a program's definition to a library's. Each works until it is
/// told otherwise; each test leaves the parts as it found them.
struct FailingParts {
  bool converters = false;           ///< The four converters return a negative number.
  std::function<void()> hintThrows;  ///< Run by AsnOctetStringToSnmpString.
  bool indexVariable = false;        ///< snmp_varlist_add_variable appends nothing.
  bool serializeHandler = false;     ///< netsnmp_get_serialize_handler makes none.
};
extern FailingParts failing;
