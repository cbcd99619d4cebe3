#include "Pomel/String.h"

#include <gtest/gtest.h>

#include <sstream>
#include <utility>

namespace Pomel {
namespace {

TEST(String, TheDefaultIsEmptyAndOwnsNothing) {
  const String empty;
  EXPECT_TRUE(empty.empty());
  EXPECT_EQ(empty.size(), 0U);
  EXPECT_EQ(empty.view(), "");
  EXPECT_STREQ(empty.c_str(), "");
  EXPECT_EQ(empty, String(""));
  EXPECT_EQ(empty, String(std::string()));
}

TEST(String, IsOnePointerWide) { EXPECT_EQ(sizeof(String), sizeof(void*)); }

TEST(String, HoldsItsOwnCopyOfTheText) {
  std::string text = "default";
  const String kept(text);
  text[0] = 'X';
  EXPECT_EQ(kept.view(), "default");
  EXPECT_EQ(kept.stdString(), "default");
  EXPECT_STREQ(kept.c_str(), "default");
}

TEST(String, ACopySharesTheOctets) {
  const String original("a text");
  const String copy = original;  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_EQ(copy.view().data(), original.view().data());
}

TEST(String, TheOctetsLiveUntilTheLastCopyGoes) {
  String last;
  {
    const String first("shared octets");
    const String second = first;
    last = second;
  }
  EXPECT_EQ(last.view(), "shared octets");
}

TEST(String, AMovedFromStringIsEmpty) {
  String from("moving");
  const char* octets = from.view().data();
  const String to = std::move(from);
  EXPECT_EQ(to.view().data(), octets);
  EXPECT_TRUE(from.empty());  // NOLINT(bugprone-use-after-move): the contract.
}

TEST(String, AssignmentToItselfKeepsTheText) {
  String text("same");
  const String& alias = text;
  text = alias;
  EXPECT_EQ(text.view(), "same");
}

TEST(String, AssignmentReplacesTheText) {
  String text("old");
  text = "new";
  EXPECT_EQ(text.view(), "new");
  text = String();
  EXPECT_TRUE(text.empty());
}

TEST(String, NulIsAnOctetLikeAnyOther) {
  const std::string_view octets("a\0b", 3);
  const String text(octets);
  EXPECT_EQ(text.size(), 3U);
  EXPECT_EQ(text.view(), octets);
  EXPECT_NE(text, String("a"));
}

TEST(String, EqualityIsByContent) {
  EXPECT_EQ(String("eth1"), String("eth1"));
  EXPECT_NE(String("eth1"), String("eth2"));
  EXPECT_NE(String("eth1"), String("eth11"));
}

TEST(String, OrderIsThatOfUnsignedOctets) {
  EXPECT_LT(String(""), String("a"));
  EXPECT_LT(String("a"), String("aa"));
  EXPECT_LT(String("aa"), String("b"));
  EXPECT_LT(String("z"), String("\x80"));
  EXPECT_LT(String("\x7f"), String("\xff"));
  EXPECT_EQ(String("b") <=> String("b"), std::strong_ordering::equal);
}

TEST(String, EqualTextsHashAlikeAndSeedsMatter) {
  EXPECT_EQ(String("blue").hash(1), String("blue").hash(1));
  EXPECT_NE(String("blue").hash(1), String("blue").hash(2));
  EXPECT_NE(String("blue").hash(1), String("red").hash(1));
}

TEST(String, StreamsItsOctets) {
  std::ostringstream out;
  out << String("one") << String() << String("two");
  EXPECT_EQ(out.str(), "onetwo");
}

}  // namespace
}  // namespace Pomel
