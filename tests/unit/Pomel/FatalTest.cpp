#include "Pomel/Fatal.h"

#include <gtest/gtest.h>

namespace Pomel {
namespace {

TEST(FatalDeathTest, TheMessageIsALineOfItsOwnAndTheProcessAborts) {
  EXPECT_EXIT(fatal("We missed something"), testing::KilledBySignal(SIGABRT),
              "^We missed something\n$");
}

TEST(FatalDeathTest, TheMessageIsPrintedAsItIs) {
  EXPECT_EXIT(fatal("100 %s {} \\n"), testing::KilledBySignal(SIGABRT), "^100 %s \\{\\} \\\\n\n$");
}

TEST(FatalDeathTest, AFailedAssertionIsToldByItsExpression) {
  EXPECT_EXIT(assertionFailed("reg != 0"), testing::KilledBySignal(SIGABRT),
              "^assertion \"reg != 0\" failed\n$");
}

}  // namespace
}  // namespace Pomel
