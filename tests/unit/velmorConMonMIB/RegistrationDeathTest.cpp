#include <csignal>

#include "ModuleFixture.h"
#include "Snmp/CentrumUtil.h"

using testing::KilledBySignal;
using namespace TableFacts;

namespace {

template <class Table>
class RegistrationDeathTest : public EveryTable<Table> {};
TYPED_TEST_SUITE(RegistrationDeathTest, AllTables);

TYPED_TEST(RegistrationDeathTest, AContextWithoutAnObjectEndsTheProcess) {
  EXPECT_EXIT(TypeParam::kInitialize(nullptr, "nowhere"), KilledBySignal(SIGABRT),
              testing::Eq("Can not getEntityRelative( snmp/connectivityMonitor/conMonMib/nowhere ) "
                          "for table " +
                          std::string(TypeParam::kTable) +
                          ". Is this path correct?\nassertion \"e\" failed\n"));
}

TYPED_TEST(RegistrationDeathTest, TheEmptyContextLooksForTheDefaultObject) {
  EXPECT_EXIT(TypeParam::kInitialize(nullptr, ""), KilledBySignal(SIGABRT),
              testing::HasSubstr(
                  "Can not getEntityRelative( snmp/connectivityMonitor/conMonMib/default ) for"));
}

TYPED_TEST(RegistrationDeathTest, TheMissingPathIsNamedInItsQuotedForm) {
  EXPECT_EXIT(TypeParam::kInitialize(nullptr, "a/b"), KilledBySignal(SIGABRT),
              testing::HasSubstr(
                  "Can not getEntityRelative( snmp/connectivityMonitor/conMonMib/a%2Fb ) for"));
}

TYPED_TEST(RegistrationDeathTest, AnObjectOfAnotherTypeEndsTheProcess) {
  const auto root = Qiv::make<Qiv::Dir>("root");
  Snmp::CentrumUtil::agentRootIs(root);
  const auto odd = Qiv::dirAt(root, "snmp/connectivityMonitor/conMonMib/odd");
  ASSERT_NE(odd, nullptr);
  EXPECT_EXIT(TypeParam::kInitialize(nullptr, "odd"), KilledBySignal(SIGABRT),
              testing::Eq("snmp/connectivityMonitor/conMonMib/odd does not appear to be of type "
                          "ConnectivityMonitorSnmp::ConnectivityMonitorMib.\n"
                          "assertion \"ptr\" failed\n"));
}

TYPED_TEST(RegistrationDeathTest, ATableThatIsThereAlreadyEndsTheProcess) {
  this->serve("blue");
  // net-snmp logs its own words first.
  EXPECT_EXIT(TypeParam::kInitialize(nullptr, "blue"), KilledBySignal(SIGABRT),
              testing::EndsWith("\nassertion \"result == MIB_REGISTERED_OK\" failed\n"));
}

class ModuleDeathTest : public ModuleFixture {};

TEST_F(ModuleDeathTest, StartingTwiceInOneContextEndsTheProcess) {
  serve("blue");
  EXPECT_EXIT(init_velmorConMonMIB("blue"), KilledBySignal(SIGABRT),
              testing::EndsWith("\nassertion \"result == MIB_REGISTERED_OK\" failed\n"));
}

TEST_F(ModuleDeathTest, StartingTwiceInTheEmptyContextEndsTheProcess) {
  serve("");
  EXPECT_EXIT(init_velmorConMonMIB(""), KilledBySignal(SIGABRT),
              testing::EndsWith("\nassertion \"result == MIB_REGISTERED_OK\" failed\n"));
}

}  // namespace
