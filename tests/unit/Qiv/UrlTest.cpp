#include "Qiv/Url.h"

#include <gtest/gtest.h>

namespace Qiv {
namespace {

TEST(Url, PrintableNamesStayAsTheyAre) {
  EXPECT_EQ(quoteUrl("Ethernet1.200-a_b:c,d", &reservedInName), "Ethernet1.200-a_b:c,d");
  EXPECT_EQ(quoteUrl("", &reservedInName), "");
}

TEST(Url, SeparatorQuoteBlankAndUnprintableAreQuotedInUpperCaseDigits) {
  EXPECT_EQ(quoteUrl("a/b", &reservedInName), "a%2Fb");
  EXPECT_EQ(quoteUrl("100%", &reservedInName), "100%25");
  EXPECT_EQ(quoteUrl("a b", &reservedInName), "a%20b");
  EXPECT_EQ(quoteUrl(std::string_view("\0\n\x1f\x7f\x80\xff", 6), &reservedInName),
            "%00%0A%1F%7F%80%FF");
  EXPECT_EQ(quoteUrl("!~", &reservedInName), "!~");
}

TEST(Url, OnlyWhatThePredicateNamesIsQuoted) {
  EXPECT_EQ(quoteUrl("a.b/c", [](char c) { return c == '.'; }), "a%2Eb/c");
}

TEST(Url, UnquotingTakesDigitsOfEitherCase) {
  EXPECT_EQ(unquoteUrl("a%2Fb%2fc"), "a/b/c");
  EXPECT_EQ(unquoteUrl("%00"), std::string(1, '\0'));
  EXPECT_EQ(unquoteUrl("plain"), "plain");
  EXPECT_EQ(unquoteUrl(""), "");
}

TEST(Url, APercentSignWithoutTwoDigitsIsMalformed) {
  for (const char* malformed :
       {"%", "a%", "%2", "%2x", "%x2", "%%20", "% 1", "%-1", "%+1", "%0x"}) {
    EXPECT_EQ(unquoteUrl(malformed), std::nullopt) << malformed;
  }
}

TEST(Url, EveryOctetComesBack) {
  std::string all;
  for (int octet = 0; octet < 256; ++octet) {
    all += static_cast<char>(octet);
  }
  const std::string quoted = quoteUrl(all, &reservedInName);
  EXPECT_EQ(unquoteUrl(quoted), all);
  EXPECT_EQ(quoted.find('/'), std::string::npos);
}

}  // namespace
}  // namespace Qiv
