#include "Qiv/Errors.h"

#include <gtest/gtest.h>

#include <ostream>

namespace Qiv {
namespace {

struct Pair {
  int a;
  int b;
};
std::ostream& operator<<(std::ostream& out, const Pair& pair) {
  return out << pair.a << '/' << pair.b;
}

template <class Throw>
ReinstantiatingError caught(Throw throwIt) {
  try {
    throwIt();
  } catch (const ReinstantiatingError& error) {
    return error;
  }
  throw std::runtime_error("nothing was thrown");
}

TEST(Errors, ATooLongStringIsARangeErrorInTheseWords) {
  try {
    throwStringTooLong();
    FAIL();
  } catch (const RangeError& error) {
    EXPECT_STREQ(error.what(), "Qiv::String::bytes > maxLength() not allowed");
  }
}

TEST(Errors, AReinstantiationErrorOfAStringNamesTypeAttributeAndBothValues) {
  const auto error =
      caught([] { throwMutatorReinstantiating("A::Row", "client", Pomel::String("old"), "new"); });
  EXPECT_EQ(error.type(), "A::Row");
  EXPECT_EQ(error.attribute(), "client");
  EXPECT_EQ(error.oldValue(), "old");
  EXPECT_EQ(error.newValue(), "new");
  EXPECT_STREQ(error.what(), "A::Row.client cannot change from 'old' to 'new' in place");
}

TEST(Errors, AReinstantiationErrorOfANumberCarriesItInDecimal) {
  const auto error =
      caught([] { throwMutatorReinstantiating("Row", "ifIndex", 7U, 4'294'967'295U); });
  EXPECT_EQ(error.oldValue(), "7");
  EXPECT_EQ(error.newValue(), "4294967295");
}

TEST(Errors, AReinstantiationErrorOfAnyOtherValueCarriesItsStreamForm) {
  const auto error = caught([] {
    Impl::throwMutatorReinstVal("Row", "stats", Pair{1, 2}, Pair{1, 3});
  });
  EXPECT_EQ(error.attribute(), "stats");
  EXPECT_EQ(error.oldValue(), "1/2");
  EXPECT_EQ(error.newValue(), "1/3");
}

}  // namespace
}  // namespace Qiv
