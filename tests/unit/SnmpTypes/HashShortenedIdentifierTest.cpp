#include "Snmp/HashShortenedIdentifier.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "Qiv/Errors.h"

namespace Snmp {
namespace {

// Digests from another implementation of FIPS 180-4.
constexpr const char* kOf91a = "9b9fe7f0a48c2b9aeb70fa0828c10780a1597e18f671eb284e0fb2e11c9a7ba8";
constexpr const char* kOf90ab = "fdd4f8b17415d992947ff3ff1e70d9f7860f1939f44d8b4c6f33aaec4875156d";
constexpr const char* kOfAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

constexpr const char* kOf25xAndDigits =
    "c329e8712c8be6f028d9543016ffc550e4e41a37b2bdf9197f6e7e634d2507c5";

std::string of(std::size_t count, char octet) {
  std::string text;
  text.append(count, octet);
  return text;
}

class ShorteningTest : public testing::Test {
 protected:
  [[nodiscard]] std::string id(const std::string& name, std::size_t maxLength = 90,
                               bool keepShort = true, std::uint32_t generation = 0) const {
    return std::string(generator_->generateUniqueId(name, maxLength, keepShort, generation).view());
  }
  HashShortenedIdentifier::Ptr generator_ = HashShortenedIdentifier::singleton();
};

TEST_F(ShorteningTest, ANameThatFitsStaysAsItIs) {
  for (const std::string& name :
       {std::string(), std::string("a"), std::string("\0\xff", 2), of(89, 'x'), of(90, 'x')}) {
    EXPECT_EQ(id(name), name);
  }
}

TEST_F(ShorteningTest, ALongerNameIsItsBeginningAHashSignAndItsDigest) {
  EXPECT_EQ(id(of(91, 'a')), fmt::format("{}#{}", of(25, 'a'), kOf91a));
  EXPECT_EQ(id(of(91, 'a')).size(), 90U);
  EXPECT_EQ(id(of(10'000, 'b')).size(), 90U);
}

TEST_F(ShorteningTest, NamesThatShareTheirFirst90OctetsHaveDifferentIdentifiers) {
  EXPECT_EQ(id(of(90, 'a').append("b")), fmt::format("{}#{}", of(25, 'a'), kOf90ab));
  EXPECT_NE(id(of(90, 'a').append("b")), id(of(91, 'a')));
}

TEST_F(ShorteningTest, OneNameAlwaysHasTheSameIdentifier) {
  const std::string name(200, 'n');
  EXPECT_EQ(id(name), id(name));
  Qiv::Entity::singletonDel(HashShortenedIdentifier::kTypeName);
  const std::string before = id(name);
  generator_ = HashShortenedIdentifier::singleton();
  EXPECT_EQ(id(name), before);
}

TEST_F(ShorteningTest, AShortNameThatLooksShortenedIsShortenedToo) {
  const std::string shortened = id(of(91, 'a'));
  const std::string again = id(shortened);
  EXPECT_NE(again, shortened);
  EXPECT_EQ(again.size(), 90U);
  EXPECT_EQ(again.substr(0, 26), shortened.substr(0, 26));
  const std::string digits = "0123456789abcdef";
  EXPECT_EQ(id(fmt::format("{0}#{1}{1}{1}{1}", of(25, 'x'), digits)),
            fmt::format("{}#{}", of(25, 'x'), kOf25xAndDigits));
}

TEST_F(ShorteningTest, AShortNameThatOnlyAlmostLooksShortenedStays) {
  const std::string shortened = id(of(91, 'a'));
  std::string otherSign = shortened;
  otherSign[25] = '$';
  std::string upperCase = shortened;
  upperCase[89] = 'A';
  std::string noDigit = shortened;
  noDigit[26] = 'g';
  for (const std::string& name :
       {otherSign, upperCase, noDigit, shortened.substr(0, 89), shortened.substr(1)}) {
    EXPECT_EQ(id(name), name);
  }
}

TEST_F(ShorteningTest, WithoutKeepShortEveryNameHasItsDigest) {
  EXPECT_EQ(id("abc", 90, false), fmt::format("abc#{}", kOfAbc));
}

TEST_F(ShorteningTest, AnotherGenerationIsAnotherIdentifier) {
  const std::string name(91, 'a');
  EXPECT_NE(id(name, 90, true, 1), id(name));
  EXPECT_NE(id(name, 90, true, 1), id(name, 90, true, 2));
  EXPECT_EQ(id(name, 90, true, 1), id(name, 90, true, 1));
  EXPECT_EQ(id("short", 90, true, 1), "short");
}

TEST_F(ShorteningTest, ABoundWithoutRoomForTheDigestIsARangeError) {
  EXPECT_EQ(id(of(91, 'a'), 65), fmt::format("#{}", kOf91a));
  EXPECT_EQ(id("short", 65), "short");
  EXPECT_THROW(static_cast<void>(id(of(91, 'a'), 64)), Qiv::RangeError);
  EXPECT_THROW(static_cast<void>(id("short", 64)), Qiv::RangeError);
  EXPECT_THROW(static_cast<void>(id("", 0)), Qiv::RangeError);
}

TEST_F(ShorteningTest, TheProcessSharesOneGenerator) {
  EXPECT_EQ(HashShortenedIdentifier::singleton(), generator_);
  EXPECT_TRUE(Qiv::Entity::singletonExists("Snmp::HashShortenedIdentifier"));
  EXPECT_EQ(Qiv::Entity::singletonIs("Snmp::HashShortenedIdentifier"), generator_);
}

}  // namespace
}  // namespace Snmp
