#pragma once

#include <rapidcheck.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Properties {

/// A string of any octets, those that texts quote or cut at more often than the others.
inline rc::Gen<std::string> octets() {
  const auto octet = rc::gen::weightedOneOf<char>(
      {{1, rc::gen::element('%', ',', '/', ' ', '#', '\0', '\n', '\xff', '0', 'A')},
       {2, rc::gen::map(rc::gen::inRange(0, 256), [](int value) {
          return static_cast<char>(static_cast<unsigned char>(value));
        })}});
  return rc::gen::container<std::string>(octet);
}

}  // namespace Properties
