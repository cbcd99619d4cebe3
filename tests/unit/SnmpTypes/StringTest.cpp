#include "Snmp/String.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Snmp {
namespace {

/// The instance sub-identifiers of a string index that is not IMPLIED (RFC 2578 section 7.7).
std::vector<std::uint32_t> subIdentifiers(std::string_view text) {
  std::vector<std::uint32_t> ids = {static_cast<std::uint32_t>(text.size())};
  for (const char c : text) {
    ids.push_back(static_cast<unsigned char>(c));
  }
  return ids;
}

TEST(SnmpString, TheOrderIsTheOneOfTheSubIdentifiers) {
  const std::vector<std::string> texts = {"",
                                          "a",
                                          "b",
                                          "z",
                                          "aa",
                                          "ab",
                                          std::string("\0", 1),
                                          std::string("\0\0", 2),
                                          "\x7f",
                                          "\x80",
                                          "\xff",
                                          "a\xff",
                                          "b\x01",
                                          "\xff\x01",
                                          "aaa",
                                          std::string(90, 'a'),
                                          std::string(90, '\xff')};
  for (const std::string& a : texts) {
    for (const std::string& b : texts) {
      const String left{std::string_view(a)};
      const String right{std::string_view(b)};
      EXPECT_EQ(left <=> right, subIdentifiers(a) <=> subIdentifiers(b)) << a << " and " << b;
      EXPECT_EQ(left == right, a == b);
    }
  }
}

TEST(SnmpString, ShorterComesFirstWhateverItsOctets) {
  EXPECT_LT(String("z"), String("aa"));
  EXPECT_LT(String("\xff"), String("aa"));
}

TEST(SnmpString, SharesItsOctetsWithTheStringItWasMadeOf) {
  const Pomel::String text("row key");
  const String key(text);
  EXPECT_EQ(key.view().data(), text.view().data());
  EXPECT_EQ(key.size(), 7U);
  EXPECT_EQ(key.hash(3), text.hash(3));
  std::ostringstream out;
  out << key;
  EXPECT_EQ(out.str(), "row key");
}

TEST(SnmpBytes, AreOctetsOfAnyValue) {
  const Bytes bytes(std::string_view("\0\xff", 2));
  EXPECT_EQ(bytes.size(), 2U);
  EXPECT_EQ(bytes.view(), std::string_view("\0\xff", 2));
  EXPECT_EQ(bytes, Bytes(std::string_view("\0\xff", 2)));
  EXPECT_FALSE(bytes == Bytes());
}

}  // namespace
}  // namespace Snmp
