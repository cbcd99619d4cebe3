#include "Snmp/HandlerRegistration.h"

#include <gtest/gtest.h>

#include <csignal>

namespace {

class Registration final : public Snmp::HandlerRegistration {
 public:
  explicit Registration(std::string_view module) : HandlerRegistration(module) {}
  void initHandler(Pomel::String context) override { last = context; }

  Pomel::String last;
};

TEST(HandlerRegistration, IsKnownAsLongAsItsAutoRegistreeLives) {
  Registration registration("one");
  {
    const Snmp::AutoRegistree registree(&registration);
    EXPECT_EQ(Snmp::handlerRegistration("one"), &registration);
  }
  EXPECT_EQ(Snmp::handlerRegistration("one"), nullptr);
}

TEST(HandlerRegistration, IsFoundByItsModule) {
  Registration one("one");
  Registration two("two");
  const Snmp::AutoRegistree first(&one);
  const Snmp::AutoRegistree second(&two);
  EXPECT_EQ(Snmp::handlerRegistration("two"), &two);
  EXPECT_EQ(Snmp::handlerRegistration("three"), nullptr);
  Snmp::handlerRegistration("two")->initHandler("blue");
  EXPECT_EQ(two.last.view(), "blue");
  EXPECT_EQ(one.last.view(), "");
}

TEST(HandlerRegistrationDeathTest, OneModuleTwiceEndsTheProcess) {
  Registration registration("one");
  const Snmp::AutoRegistree registree(&registration);
  EXPECT_EXIT(Snmp::AutoRegistree again(&registration), testing::KilledBySignal(SIGABRT),
              "MIB module one is loaded twice");
}

}  // namespace
