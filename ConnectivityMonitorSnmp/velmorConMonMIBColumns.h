#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "Snmp/Converters.h"

namespace ConnectivityMonitorSnmp::MibModule {

/// The two encodings on the wire, by their ASN.1 tags.
enum class Tag : unsigned char { kInteger = 2, kOctetString = 4 };

/// One column that is served: its name, how it is read off a row, and the words for its failures.
template <class Row>
struct Column {
  using Encode = std::ptrdiff_t (*)(const Row& row, unsigned char* buffer, std::size_t size);

  std::string_view name;
  std::string_view field;
  std::string_view converter;
  Tag tag;
  Encode encode;
};

/// Makes the columns of a table out of its row's accessors. The four forms are the four converters.
template <class Row>
struct ColumnOf {
  using Name = std::string_view;

  template <auto Field>
  static consteval Column<Row> string(Name name, Name field) {
    return {name, field, "StringToAsnOctetString", Tag::kOctetString,
            [](const Row& row, unsigned char* buffer, std::size_t size) {
              return Snmp::StringToAsnOctetString(std::invoke(Field, row), buffer, size);
            }};
  }

  template <auto Field>
  static consteval Column<Row> bytes(Name name, Name field) {
    return {name, field, "SnmpBytesToAsnOctetString", Tag::kOctetString,
            [](const Row& row, unsigned char* buffer, std::size_t size) {
              return Snmp::SnmpBytesToAsnOctetString(std::invoke(Field, row), buffer, size);
            }};
  }

  template <auto Field>
  static consteval Column<Row> u32(Name name, Name field) {
    return {name, field, "U32ToAsnUnsigned", Tag::kInteger,
            [](const Row& row, unsigned char* buffer, std::size_t size) {
              return Snmp::U32ToAsnUnsigned(std::invoke(Field, row), buffer, size);
            }};
  }

  template <auto Field>
  static consteval Column<Row> s32(Name name, Name field) {
    return {name, field, "S32ToAsnInteger", Tag::kInteger,
            [](const Row& row, unsigned char* buffer, std::size_t size) {
              return Snmp::S32ToAsnInteger(static_cast<std::int32_t>(std::invoke(Field, row)),
                                           buffer, size);
            }};
  }
};

}  // namespace ConnectivityMonitorSnmp::MibModule
