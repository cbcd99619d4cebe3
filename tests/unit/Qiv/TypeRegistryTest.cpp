#include "Qiv/TypeRegistry.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "ThingForTest.h"

namespace Qiv {
namespace {

TEST(TypeRegistry, ATypeIsKnownFromRegistrationToItsEnd) {
  EXPECT_EQ(TypeRegistry::instance().type(Thing::kTypeName), nullptr);
  {
    const TypeRegistration registration{Thing::type()};
    EXPECT_EQ(TypeRegistry::instance().type(Thing::kTypeName), &Thing::type());
  }
  EXPECT_EQ(TypeRegistry::instance().type(Thing::kTypeName), nullptr);
}

TEST(TypeRegistry, ThePlatformsOwnTypesAreRegistered) {
  for (const char* name : {"Qiv::Dir", "IntfSnmp::IfMib", "ConnectivityMonitor::StatusDir",
                           "ConnectivityMonitor::HostStatus"}) {
    EXPECT_NE(TypeRegistry::instance().type(name), nullptr) << name;
  }
}

TEST(TypeRegistry, NamesAreSorted) {
  const TypeRegistration registration{Thing::type()};
  const auto names = TypeRegistry::instance().names();
  EXPECT_TRUE(std::ranges::is_sorted(names));
  EXPECT_TRUE(std::ranges::find(names, Thing::kTypeName) != names.end());
}

TEST(TypeRegistry, AnEntityIsMadeByTheNameOfItsType) {
  const TypeRegistration registration{Thing::type()};
  const Ptr<Entity> made = TypeRegistry::instance().create(Thing::kTypeName, "it");
  const auto thing = ptrCast<Thing>(made);
  ASSERT_NE(thing, nullptr);
  EXPECT_EQ(thing->name(), "it");
  EXPECT_EQ(&made->typeInfo(), &Thing::type());
}

TEST(TypeRegistry, AnUnknownTypeAndOneThatItsOwnerMakesAreRefused) {
  const TypeRegistration registration{Part::type()};
  const auto refusal = [](std::string_view type) -> std::string {
    try {
      static_cast<void>(TypeRegistry::instance().create(type, "it"));
    } catch (const InspectionError& error) {
      return error.what();
    }
    return "no error";
  };
  EXPECT_EQ(refusal("Test::Nothing"), "type Test::Nothing is not known");
  EXPECT_EQ(refusal("Test::Part"), "type Test::Part is only made by its owner");
}

TEST(TypeRegistryDeathTest, ANameRegisteredTwiceIsABug) {
  EXPECT_EXIT(
      {
        const TypeRegistration first{Thing::type()};
        const TypeRegistration second{Thing::type()};
      },
      testing::KilledBySignal(SIGABRT), "^type Test::Thing is registered twice\n$");
}

}  // namespace
}  // namespace Qiv
