#include "Snmp/MibContext.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Snmp/HandlerRegistration.h"

using testing::ElementsAre;

namespace {

constexpr const char* kModule = "aTestModule";

/// A module that does what modules do: it tells the library of every context it starts in.
class Registration final : public Snmp::HandlerRegistration {
 public:
  Registration() : HandlerRegistration(kModule) {}
  void initHandler(Pomel::String context) override {
    started.push_back(context.stdString());
    Snmp::registerMibContext(context, kModule);
  }

  std::vector<std::string> started;
};

class MibContext : public testing::Test {
 protected:
  ~MibContext() override {
    subscription_.unsubscribe();
    const auto present = Snmp::mibContexts();
    for (const auto& [context, module] : present) {
      Snmp::unregisterMibContext(context, module);
    }
  }

  void told(const Snmp::MibContext& presence, const bool& present) {
    EXPECT_EQ(Snmp::mibContexts().contains(presence), present);
    changes_.push_back((present ? "+" : "-") + presence.module.stdString() + "@" +
                       presence.context.stdString());
  }

  std::vector<std::string> changes_;
  Qiv::Subscription<&MibContext::told, Snmp::MibContext, bool> subscription_{
      *this, Snmp::mibContextChanges()};
};

TEST_F(MibContext, AModuleIsPresentFromRegistrationToUnregistration) {
  Snmp::registerMibContext("blue", "m");
  EXPECT_TRUE(Snmp::mibContexts().contains({"blue", "m"}));
  Snmp::unregisterMibContext("blue", "m");
  EXPECT_TRUE(Snmp::mibContexts().empty());
}

TEST_F(MibContext, EachChangeIsPublishedOnceWhenItHasHappened) {
  Snmp::registerMibContext("blue", "m");
  Snmp::registerMibContext("blue", "m");
  Snmp::registerMibContext("red", "m");
  Snmp::unregisterMibContext("blue", "m");
  Snmp::unregisterMibContext("blue", "m");
  Snmp::unregisterMibContext("nowhere", "m");
  EXPECT_THAT(changes_, ElementsAre("+m@blue", "+m@red", "-m@blue"));
}

TEST_F(MibContext, AModuleInTheDefaultContextIsStartedInTheEmptyOne) {
  Registration registration;
  const Snmp::AutoRegistree registree(&registration);
  Snmp::registerMibContext("default", kModule);
  EXPECT_THAT(registration.started, ElementsAre(""));
  EXPECT_THAT(changes_, ElementsAre("+aTestModule@default", "+aTestModule@"));
}

TEST_F(MibContext, AModuleThatIsInTheEmptyContextIsNotStartedThereAgain) {
  Registration registration;
  const Snmp::AutoRegistree registree(&registration);
  registration.initHandler("");
  Snmp::registerMibContext("default", kModule);
  Snmp::unregisterMibContext("default", kModule);
  Snmp::registerMibContext("default", kModule);
  EXPECT_THAT(registration.started, ElementsAre(""));
}

TEST_F(MibContext, OtherContextsStartNothing) {
  Registration registration;
  const Snmp::AutoRegistree registree(&registration);
  Snmp::registerMibContext("blue", kModule);
  EXPECT_THAT(registration.started, ElementsAre());
}

TEST_F(MibContext, AModuleWithoutARegistrationObjectIsStartedNowhere) {
  Snmp::registerMibContext("default", "unknown");
  EXPECT_THAT(changes_, ElementsAre("+unknown@default"));
}

}  // namespace
