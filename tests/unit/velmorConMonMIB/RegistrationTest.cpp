#include "ConnectivityMonitorSnmp/velmorConMonMIBRegistration.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>

#include "ModuleFixture.h"
#include "Snmp/HandlerRegistration.h"
#include "Snmp/MibContext.h"
#include "Snmp/RegVoidCollByContext.h"

using AgentForTest::Oid;
using AgentForTest::operator/;
using ConnectivityMonitorSnmp::MibModule::columnInfosByContext;
using ConnectivityMonitorSnmp::MibModule::registrationsByContext;
using testing::ElementsAre;
using namespace TableFacts;

namespace {

const Oid kAllTables{1, 3, 6, 1, 4, 1, 61111, 3, 38, 1};

template <class Table>
class Registration : public EveryTable<Table> {
 protected:
  /// The table's registration in a context that is served.
  netsnmp_handler_registration* registration(std::string_view context) {
    return this->agent_.registration(context, tableOid<Table>());
  }
  template <class Info>
  static const Info* handlerData(netsnmp_handler_registration* from, const char* handler) {
    return static_cast<const Info*>(netsnmp_find_handler_data_by_name(from, handler));
  }
};
TYPED_TEST_SUITE(Registration, AllTables);

TYPED_TEST(Registration, TheEmptyContextServesTheDefaultVrfUnderNoContextName) {
  auto& mib = this->serve("");
  const auto* made = this->registration("");
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(std::string_view(made->handlerName), std::string(TypeParam::kTable) + "_");
  EXPECT_EQ(made->contextName, nullptr);
  EXPECT_EQ(static_cast<const Snmp::RegVoid*>(made->my_reg_void)->data().get(), &mib);
}

TYPED_TEST(Registration, ANamedContextCarriesItsName) {
  auto& mib = this->serve("blue");
  const auto* made = this->registration("blue");
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(std::string_view(made->handlerName), std::string(TypeParam::kTable) + "_blue");
  EXPECT_EQ(std::string_view(made->contextName), "blue");
  EXPECT_EQ(static_cast<const Snmp::RegVoid*>(made->my_reg_void)->data().get(), &mib);
}

TYPED_TEST(Registration, AContextWithReservedCharactersIsFoundByItsQuotedNameAndKeepsItsOwn) {
  TypeParam::put(this->serve("a/b%"), "k1");
  const auto* made = this->registration("a/b%");
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(std::string_view(made->contextName), "a/b%");
  EXPECT_EQ(this->agent_.getOne("a/b%", instance<TypeParam>(2, "k1")).octets, "lab");
}

TYPED_TEST(Registration, IsReadOnlyAtTheTablesOid) {
  this->serve("blue");
  const auto* made = this->registration("blue");
  EXPECT_EQ(made->modes & ~HANDLER_CAN_STASH, HANDLER_CAN_RONLY);  // The iterator adds STASH.
  EXPECT_EQ(Oid(made->rootoid, made->rootoid + made->rootoid_len), tableOid<TypeParam>());
}

TYPED_TEST(Registration, RequestsAreSerializedBeforeTheyReachTheTable) {
  this->serve("blue");
  std::vector<std::string> chain;
  for (const auto* at = this->registration("blue")->handler; at != nullptr; at = at->next) {
    chain.emplace_back(at->handler_name);
  }
  EXPECT_THAT(chain, ElementsAre("serialize", "bulk_to_next", "table", "table_iterator",
                                 std::string(TypeParam::kTable) + "_blue"));
}

TYPED_TEST(Registration, TheTableHasOneStringIndexAndItsOwnColumns) {
  this->serve("blue");
  const auto* table = this->template handlerData<netsnmp_table_registration_info>(
      this->registration("blue"), "table");
  ASSERT_NE(table->indexes, nullptr);
  EXPECT_EQ(table->indexes->type, ASN_OCTET_STR);
  EXPECT_EQ(table->indexes->next_variable, nullptr);
  EXPECT_EQ(table->min_column, 2U);
  EXPECT_EQ(table->max_column, TypeParam::kLastColumn);
  const netsnmp_column_info* columns = table->valid_columns;
  EXPECT_EQ(columns->isRange, 0);
  EXPECT_EQ(columns->next, nullptr);
  std::vector<unsigned> expected(TypeParam::kLastColumn - 1);
  std::iota(expected.begin(), expected.end(), 2U);
  EXPECT_EQ(std::vector(columns->details.list, columns->details.list + columns->list_count),
            expected);
}

TYPED_TEST(Registration, AllContextsShareTheListOfColumns) {
  this->serve("blue");
  this->serve("red");
  const auto columns = [this](std::string_view context) {
    return this
        ->template handlerData<netsnmp_table_registration_info>(this->registration(context),
                                                                "table")
        ->valid_columns;
  };
  EXPECT_NE(columns("blue"), columns("red"));
  EXPECT_EQ(columns("blue")->details.list, columns("red")->details.list);
}

TYPED_TEST(Registration, TheIteratorIsSortedOwnedByItsHandlerAndCallsTheTablesFunctions) {
  this->serve("blue");
  auto* made = this->registration("blue");
  const auto* iterator = this->template handlerData<netsnmp_iterator_info>(made, "table_iterator");
  EXPECT_EQ(iterator->get_first_data_point, TypeParam::kFirst);
  EXPECT_EQ(iterator->get_next_data_point, TypeParam::kNext);
  EXPECT_EQ(iterator->make_data_context, TypeParam::kMakeData);
  EXPECT_EQ(iterator->free_data_context, TypeParam::kFreeData);
  EXPECT_EQ(iterator->free_loop_context_at_end, TypeParam::kFreeLoop);
  EXPECT_EQ(iterator->free_loop_context, nullptr);
  EXPECT_EQ(iterator->flags, 3);
  EXPECT_EQ(iterator->refcnt, 1);  // The handler's; none of ours.
  EXPECT_EQ(iterator->myvoid, made->my_reg_void);
  EXPECT_EQ(iterator->table_reginfo,
            (this->template handlerData<netsnmp_table_registration_info>(made, "table")));
}

TYPED_TEST(Registration, IsTracedAsItBeginsAndWhenItIsDone) {
  this->mib("blue");
  this->traceFrom(9);
  TypeParam::kInitialize(nullptr, "blue");
  const std::string table(TypeParam::kTable);
  EXPECT_THAT(
      this->traced(),
      ElementsAre("1: initialize_table_" + table + " initializing oid 1.3.6.1.4.1.61111.3.38.1." +
                      std::to_string(TypeParam::kArc) + " in context \"blue\"",
                  "8: Initialized table " + table + " in context \"blue\""));
  unregister_velmorConMonMIB("blue");
}

class Module : public ModuleFixture {
 protected:
  static std::vector<std::string> registered(std::string_view context) {
    std::vector<std::string> names;
    for (const auto* registration : registrationsByContext()[context]) {
      names.emplace_back(registration->handlerName);
    }
    return names;
  }
};

TEST_F(Module, RegistersTheThreeTablesInOrder) {
  serve("blue");
  EXPECT_THAT(registered("blue"),
              ElementsAre("velmorIcmpProbeTable_blue", "velmorHttpProbeTable_blue",
                          "velmorTcpProbeTable_blue"));
  EXPECT_EQ(columnInfosByContext()["blue"].size(), 3U);
}

TEST_F(Module, UnregisteringAContextLeavesTheOthersAlone) {
  Icmp::put(serve("blue"), "k1");
  Icmp::put(serve("red"), "k1");
  unregister_velmorConMonMIB("blue");
  EXPECT_FALSE(registrationsByContext().contains("blue"));
  EXPECT_FALSE(columnInfosByContext().contains("blue"));
  EXPECT_EQ(registered("red").size(), 3U);
  EXPECT_EQ(columnInfosByContext()["red"].size(), 3U);
  EXPECT_EQ(agent_.getOne("blue", instance<Icmp>(2, "k1")).type, SNMP_NOSUCHOBJECT);
  EXPECT_EQ(agent_.getOne("red", instance<Icmp>(2, "k1")).octets, "lab");
}

TEST_F(Module, UnregisteringWithdrawsTheDataOfAllThreeTables) {
  serve("blue");
  const auto records = Snmp::RegVoidCollByContext::singleton();
  EXPECT_TRUE(records->regVoid().contains({"blue", "velmorHttpProbeTable"}));
  unregister_velmorConMonMIB("blue");
  for (const char* table :
       {"velmorIcmpProbeTable", "velmorHttpProbeTable", "velmorTcpProbeTable"}) {
    EXPECT_FALSE(records->regVoid().contains({"blue", table}));
  }
}

TEST_F(Module, TheDataObjectIsReleasedWithItsContext) {
  auto& mib = serve("blue");
  const auto held = mib.refs();
  unregister_velmorConMonMIB("blue");
  EXPECT_EQ(mib.refs(), held - 3);
}

TEST_F(Module, UnregisteringTwiceIsHarmless) {
  serve("blue");
  unregister_velmorConMonMIB("blue");
  unregister_velmorConMonMIB("blue");
  EXPECT_FALSE(registrationsByContext().contains("blue"));
  EXPECT_FALSE(columnInfosByContext().contains("blue"));
}

TEST_F(Module, UnregisteringAContextThatNeverWasIsHarmless) {
  unregister_velmorConMonMIB("nowhere");
  EXPECT_FALSE(registrationsByContext().contains("nowhere"));
  EXPECT_FALSE(columnInfosByContext().contains("nowhere"));
}

TEST_F(Module, UnregisteringIsTraced) {
  serve("blue");
  traceFrom(2);
  unregister_velmorConMonMIB("blue");
  EXPECT_THAT(traced(), ElementsAre("2: Unregistering velmorConMonMIB in context \"blue\""));
}

TEST_F(Module, ContextsComeAndGoUnderTraffic) {
  for (int round = 0; round < 100; ++round) {
    const std::string context = "vrf" + std::to_string(round % 3);
    auto& mib = serve(context);
    Icmp::put(mib, "k1", {.ifIndex = static_cast<std::uint32_t>(round)});
    Http::put(mib, "k1");
    EXPECT_EQ(agent_.getOne(context, instance<Icmp>(6, "k1")).number, round);
    EXPECT_EQ(agent_.walk(context, kAllTables).size(), 16U);
    mib.icmpTableDelAll();
    mib.httpTableDelAll();
    unregister_velmorConMonMIB(context);
    EXPECT_TRUE(agent_.walk(context, kAllTables).empty());
  }
}

TEST_F(Module, TellsTheSupportLibraryWhereItIs) {
  const Snmp::MibContext presence{"blue", "velmorConMonMIB"};
  serve("blue");
  EXPECT_TRUE(Snmp::mibContexts().contains(presence));
  unregister_velmorConMonMIB("blue");
  EXPECT_FALSE(Snmp::mibContexts().contains(presence));
}

TEST_F(Module, TellsTheSupportLibraryOfAContextWhenItIsServedAndWhenItNoLongerIs) {
  struct Listener final : Qiv::Listener<Snmp::MibContext, bool> {
    explicit Listener(const AgentForTest::Agent& served) : agent(served) {
      link(Snmp::mibContextChanges());
    }
    void notify(const Snmp::MibContext& presence, const bool& present) override {
      seen.push_back(std::string(present ? "came " : "went ") +
                     std::to_string(registrationsByContext().contains(presence.context)) +
                     std::to_string(columnInfosByContext().contains(presence.context)));
      for (const Oid& table : {tableOid<Icmp>(), tableOid<Http>(), tableOid<Tcp>()}) {
        seen.back() += agent.registration("blue", table) != nullptr ? " served" : " absent";
      }
    }
    const AgentForTest::Agent& agent;
    std::vector<std::string> seen;
  };
  const Listener listener(agent_);
  serve("blue");
  unregister_velmorConMonMIB("blue");
  EXPECT_THAT(listener.seen,
              ElementsAre("came 11 served served served", "went 00 absent absent absent"));
}

TEST_F(Module, FreesEveryColumnRecordThatIsChainedBehindItsOwn) {
  serve("blue");
  for (const auto& columns : columnInfosByContext()["blue"]) {
    // LeakSanitizer sees to it that they go.
    columns->next = static_cast<netsnmp_column_info*>(std::calloc(1, sizeof(netsnmp_column_info)));
    columns->next->next =
        static_cast<netsnmp_column_info*>(std::calloc(1, sizeof(netsnmp_column_info)));
  }
  unregister_velmorConMonMIB("blue");
  EXPECT_FALSE(columnInfosByContext().contains("blue"));
}

TEST_F(Module, TheDefaultContextAndTheEmptyOneServeOneObject) {
  auto& mib = serve("default");
  Icmp::put(mib, "k1");
  EXPECT_EQ(agent_.getOne("default", instance<Icmp>(2, "k1")).octets, "lab");
  EXPECT_EQ(agent_.getOne("", instance<Icmp>(2, "k1")).octets, "lab");
}

TEST_F(Module, TheEmptyContextIsStartedOnce) {
  serve("default");
  unregister_velmorConMonMIB("default");
  serve("default");
  EXPECT_EQ(registered("").size(), 3U);
}

TEST_F(Module, ANamedContextDoesNotBringUpTheEmptyOne) {
  serve("blue");
  EXPECT_FALSE(Snmp::mibContexts().contains({"", "velmorConMonMIB"}));
}

TEST_F(Module, ItsRegistrationObjectStartsIt) {
  Icmp::put(mib("blue"), "k1");
  Snmp::HandlerRegistration* registration = Snmp::handlerRegistration("velmorConMonMIB");
  ASSERT_NE(registration, nullptr);
  registration->initHandler("blue");
  EXPECT_EQ(registered("blue").size(), 3U);
  EXPECT_TRUE(Snmp::mibContexts().contains({"blue", "velmorConMonMIB"}));
  EXPECT_EQ(agent_.getOne("blue", instance<Icmp>(2, "k1")).octets, "lab");
}

TEST_F(Module, TheTracedOidIsNumericWhateverTheOutputFormat) {
  netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OID_OUTPUT_FORMAT,
                     NETSNMP_OID_OUTPUT_UCD);
  mib("blue");
  traceFrom(1);
  init_velmorConMonMIB("blue");
  EXPECT_THAT(traced().front(), testing::HasSubstr(" oid 1.3.6.1.4.1.61111.3.38.1.1 in "));
  netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OID_OUTPUT_FORMAT,
                     NETSNMP_OID_OUTPUT_SUFFIX);
}

int collectLog(int /*major*/, int /*minor*/, void* message, void* lines) {
  static_cast<std::vector<std::string>*>(lines)->emplace_back(
      static_cast<const snmp_log_message*>(message)->msg);
  return 0;
}

TEST_F(Module, WritesNetSnmpsDebugMessageWhenThatIsOn) {
  std::vector<std::string> lines;
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, collectLog, &lines);
  snmp_enable_calllog();
  debug_register_tokens("velmorConMonMIB,trace");
  snmp_set_do_debugging(1);
  serve("blue");
  snmp_set_do_debugging(0);
  snmp_disable_calllog();
  snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, collectLog, &lines, 1);

  const auto at = std::ranges::find(lines, "Initializing in context \"blue\"\n");
  ASSERT_NE(at, lines.end());
  ASSERT_GE(at - lines.begin(), 3);
  EXPECT_EQ(at[-1], "velmorConMonMIB: ");
  EXPECT_THAT(at[-2], testing::MatchesRegex("init_velmorConMonMIB\\(\\): .*, [0-9]+:\n"));
  EXPECT_EQ(at[-3], "trace: ");
}

TEST_F(Module, IsSilentWhenNetSnmpsDebuggingIsOff) {
  std::vector<std::string> lines;
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, collectLog, &lines);
  snmp_enable_calllog();
  serve("blue");
  snmp_disable_calllog();
  snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, collectLog, &lines, 1);
  EXPECT_THAT(lines, ElementsAre());
}

}  // namespace
