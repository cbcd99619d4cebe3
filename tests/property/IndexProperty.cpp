// Row keys: their order is the one of the OIDs they become, and no two names share one.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <map>

#include "Snmp/HashShortenedIdentifier.h"
#include "tests/property/OctetsForProperties.h"

namespace Properties {
namespace {

/// The instance sub-identifiers of a string index that is not IMPLIED (RFC 2578 section 7.7).
std::vector<std::uint32_t> subIdentifiers(std::string_view text) {
  std::vector<std::uint32_t> ids = {static_cast<std::uint32_t>(text.size())};
  for (const char c : text) {
    ids.push_back(static_cast<unsigned char>(c));
  }
  return ids;
}

RC_GTEST_PROP(IndexProperty, TheOrderOfStringsIsTheOneOfTheirSubIdentifiers, ()) {
  const std::string a = *octets();
  // Half of the time of the same length, or almost only lengths would be compared.
  std::string b = *octets();
  if (*rc::gen::arbitrary<bool>()) {
    b.resize(a.size(), '\x80');
  }
  const Snmp::String left{std::string_view(a)};
  const Snmp::String right{std::string_view(b)};
  RC_ASSERT((left <=> right) == (subIdentifiers(a) <=> subIdentifiers(b)));
  RC_ASSERT((left == right) == (a == b));
}

RC_GTEST_PROP(IndexProperty, SortedStringsAreSortedOids, ()) {
  const auto texts = *rc::gen::container<std::vector<std::string>>(octets());
  std::vector<Snmp::String> strings;
  std::vector<std::vector<std::uint32_t>> oids;
  for (const std::string& text : texts) {
    strings.emplace_back(std::string_view(text));
    oids.push_back(subIdentifiers(text));
  }
  std::ranges::sort(strings);
  std::ranges::sort(oids);
  for (std::size_t at = 0; at < oids.size(); ++at) {
    RC_ASSERT(subIdentifiers(strings[at].view()) == oids[at]);
  }
}

RC_GTEST_PROP(IndexProperty, NoTwoNamesShareAnIdentifierAndEachKeepsItsOwn, ()) {
  const auto generator = Snmp::HashShortenedIdentifier::singleton();
  const auto identifier = [&](std::string_view name) {
    return std::string(generator->generateUniqueId(name, 90, true, 0).view());
  };
  // Lengths about the bound, a few octets only, and the identifiers of other names as names.
  const auto lengths = *rc::gen::container<std::vector<std::size_t>>(
      rc::gen::weightedOneOf<std::size_t>({{3, rc::gen::inRange<std::size_t>(85, 96)},
                                           {1, rc::gen::inRange<std::size_t>(0, 300)}}));
  std::vector<std::string> names;
  for (const std::size_t length : lengths) {
    std::string name(length, 'n');
    for (const std::size_t place : {std::size_t{0}, length / 2, length - 1}) {
      if (place < length) {
        name[place] = *rc::gen::element('n', 'm', '#');
      }
    }
    names.push_back(name);
    names.push_back(identifier(name));
    names.push_back(identifier(names.back()));
  }
  std::map<std::string, std::string> nameOf;
  for (const std::string& name : names) {
    const std::string id = identifier(name);
    RC_ASSERT(id.size() <= 90U);
    RC_ASSERT(id == identifier(name));
    const auto [at, fresh] = nameOf.emplace(id, name);
    RC_ASSERT((fresh || at->second == name));
  }
}

}  // namespace
}  // namespace Properties
