#include "Snmp/HashShortenedIdentifier.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "Pomel/Fatal.h"
#include "Qiv/Errors.h"
#include "Qiv/TypeRegistry.h"

namespace Snmp {

namespace {

constexpr std::size_t kDigestOctets = 32;
constexpr std::size_t kTail = 1 + 2 * kDigestOctets;  ///< '#' and the digest's digits.
constexpr std::string_view kDigits = "0123456789abcdef";

const Qiv::TypeInfo& identifierType() {
  static const Qiv::TypeInfo type{HashShortenedIdentifier::kTypeName,
                                  [](const Pomel::String& /*name*/) -> Qiv::Entity::Ptr {
                                    return Qiv::make<HashShortenedIdentifier>();
                                  },
                                  {}};
  return type;
}

const Qiv::TypeRegistration registration{identifierType()};

bool looksShortened(std::string_view name, std::size_t maxLength) {
  return name.size() == maxLength && name[maxLength - kTail] == '#' &&
         name.substr(maxLength - kTail + 1).find_first_not_of(kDigits) == std::string_view::npos;
}

std::array<unsigned char, kDigestOctets> sha256(std::string_view name, std::uint32_t generation) {
  std::array<unsigned char, kDigestOctets> digest{};
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                        &EVP_MD_CTX_free);
  bool done = context != nullptr && EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) == 1 &&
              EVP_DigestUpdate(context.get(), name.data(), name.size()) == 1;
  if (generation != 0) {
    const std::string suffix = fmt::format("#{}", generation);
    done = done && EVP_DigestUpdate(context.get(), suffix.data(), suffix.size()) == 1;
  }
  if (!done || EVP_DigestFinal_ex(context.get(), digest.data(), nullptr) != 1) {
    Pomel::fatal("SHA-256 is not available");
  }
  return digest;
}

}  // namespace

const Qiv::TypeInfo& HashShortenedIdentifier::typeInfo() const { return identifierType(); }

HashShortenedIdentifier::Ptr HashShortenedIdentifier::singleton() {
  return Qiv::ptrCast<HashShortenedIdentifier>(Qiv::Entity::singletonIs(kTypeName));
}

String HashShortenedIdentifier::generateUniqueId(std::string_view name, std::size_t maxLength,
                                                 bool keepShort, std::uint32_t generation) const {
  if (maxLength < kTail) {
    throw Qiv::RangeError("Snmp::HashShortenedIdentifier: no room for the digest");
  }
  if (keepShort && name.size() <= maxLength && !looksShortened(name, maxLength)) {
    return name;
  }
  std::string identifier(name.substr(0, maxLength - kTail));
  identifier += '#';
  for (const unsigned char octet : sha256(name, generation)) {
    identifier += kDigits[octet >> 4];
    identifier += kDigits[octet & 0xf];
  }
  return std::string_view(identifier);
}

}  // namespace Snmp
