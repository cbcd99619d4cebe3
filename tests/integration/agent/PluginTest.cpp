// The standing orders behind the feed, against the real plug-in in this process.

#include <gtest/gtest.h>

#include <map>

#include "Qiv/TypeInfo.h"
#include "Snmp/CentrumUtil.h"
#include "agent/plugin/StartGate.h"
#include "agent/snmp/SnmpEndpoint.h"
#include "agent/store/StoreFeed.h"

namespace Agent {
namespace {

class NeverYield final : public Ubo::YieldPolicy {
 public:
  void sliceBegins() override {}
  bool shouldYield() override { return false; }
};

class PluginTest : public testing::Test {
 protected:
  static constexpr std::uint32_t kCeiling = 20;

  PluginTest() {
    // Set up once, as net-snmp can be; it serves nobody here.
    static const SnmpEndpoint endpoint({{}, std::nullopt, "public", std::nullopt},
                                       [](const std::string&) {});
    Snmp::CentrumUtil::agentRootIs(root_);
    plugin_.emplace(CONMON_PLUGIN, Qiv::dirAt(root_, "snmp/connectivityMonitor"));
    gate_.emplace(*plugin_, inputs_, scheduler_, book_, applier_);
  }

  /// Runs everything that has work until nothing has.
  void settle() {
    bool any = true;
    while (any) {
      any = scheduler_->hasWork() || gate_->hasWork() || applier_.hasWork();
      scheduler_->runAll();
      if (gate_->hasWork()) {
        gate_->work(never_);
      }
      applier_.work(never_);
    }
  }
  void put(const char* host, float latency, const char* vrf, const char* interface = "") {
    ProbeKey key{{host, vrf}, interface, IcmpTarget{*Lintu::IpGenAddr::parse("192.0.2.1")}};
    Measurements measured;
    measured.latency = latency;
    queue_.push({"lab", Put{key, measured}});
  }
  /// The plug-in's own counts, by VRF.
  [[nodiscard]] std::map<std::string, std::string> counts() const {
    const auto entity = [](const Qiv::Entity::Ptr& owner, const char* attribute) {
      return std::get<Qiv::Entity::Ptr>(Qiv::attributeGet(*owner, attribute));
    };
    const auto agent =
        entity(Qiv::entityAt(*root_, "snmp/connectivityMonitor/connectivityMonitorSnmp"),
               "connectivityMonitorSnmpAgent");
    const auto vrfRefCount = entity(agent, "vrfRefCount");
    std::map<std::string, std::string> all;
    vrfRefCount->typeInfo()
        .attribute("vrfRefCount")
        .forEach(*vrfRefCount, [&](const Qiv::Value& key, const Qiv::Value& value) {
          all[Qiv::toText(key)] = Qiv::toText(value);
        });
    return all;
  }
  /// The VRFs that have an object.
  [[nodiscard]] std::vector<std::string> vrfs() const {
    std::vector<std::string> names;
    for (const auto& entry : inputs_.conMonMibRoot->entityPtr()) {
      names.push_back(entry.key.stdString());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  /// Rows of the ICMP table of a VRF.
  [[nodiscard]] std::size_t rows(const char* vrf) const {
    const auto mib = inputs_.conMonMibRoot->entityPtr(vrf);
    std::size_t count = 0;
    mib->typeInfo().attribute("icmpTable").forEach(*mib, [&](const Qiv::Value&, const Qiv::Value&) {
      ++count;
    });
    return count;
  }

  NeverYield never_;
  Qiv::Dir::Ptr root_ = Qiv::make<Qiv::Dir>("");
  PluginInputs inputs_ = pluginInputsAt(root_);
  Ubo::Scheduler::Ptr scheduler_ = Ubo::findOrCreateScheduler(Ubo::kDefaultScheduler);
  std::optional<PluginHost> plugin_;
  StoreFeed store_{
      inputs_.clientDir, inputs_.ifMib,
      [this](const Pomel::String& vrf, std::uint32_t count) { plugin_->vrfCountIs(vrf, count); }};
  RecordBook book_{store_, [](const std::string&) {}, kCeiling};
  OperationQueue queue_{1000};
  Applier applier_{queue_, book_};
  std::optional<StartGate> gate_;
};

// One test, as the default VRF's registration stays in net-snmp to the end of the process.
TEST_F(PluginTest, StandingOrdersHoldAgainstThePluginsOwnCounts) {
  put("early", 1, "blue");
  EXPECT_FALSE(plugin_->ready());
  gate_->start();
  EXPECT_FALSE(gate_->open());
  EXPECT_TRUE(vrfs().empty()) << "the agent starts over empty inputs";
  settle();
  EXPECT_TRUE(gate_->open());
  EXPECT_TRUE(plugin_->ready());
  EXPECT_EQ(vrfs(), std::vector<std::string>{"blue"});
  EXPECT_EQ(rows("blue"), 1U);

  // Every update counts, and the count is set back before the ceiling.
  put("other", 1, "blue");
  put("waiting", 1, "blue", "eth9");
  settle();
  EXPECT_EQ(counts()["blue"], "2");
  for (int i = 2; i < 18; ++i) {
    put("early", static_cast<float>(i), "blue");
  }
  settle();
  EXPECT_EQ(counts()["blue"], "18");
  put("early", 100, "blue");
  put("early", 101, "blue");
  settle();
  EXPECT_EQ(counts()["blue"], "2") << "the two records that have a row";
  queue_.push({"lab", RemoveClient{}});
  settle();
  EXPECT_TRUE(counts().empty());
  EXPECT_TRUE(vrfs().empty());

  // An index, then another one, in the fixed order; a removed index would end this process.
  put("a", 1, "blue", "eth1");
  queue_.push({"lab", SetInterface{"eth1", 7}});
  settle();
  EXPECT_EQ(counts()["blue"], "1");
  EXPECT_EQ(rows("blue"), 1U);
  queue_.push({"lab", SetInterface{"eth1", 8}});
  settle();
  EXPECT_EQ(counts()["blue"], "1");
  EXPECT_EQ(rows("blue"), 1U);

  // A new agent counts from nothing, and gets all records again.
  put("a", 2, "blue", "eth1");
  put("b", 1, "red");
  settle();
  EXPECT_EQ(counts()["blue"], "2");
  gate_->replaceAgent();
  EXPECT_FALSE(gate_->open());
  put("c", 1, "red");
  settle();
  EXPECT_TRUE(gate_->open());
  EXPECT_EQ(counts(), (std::map<std::string, std::string>{{"blue", "1"}, {"red", "2"}}));
  EXPECT_EQ(rows("blue"), 1U);
  EXPECT_EQ(rows("red"), 2U);

  queue_.push({"lab", RemoveClient{}});
  settle();
  EXPECT_TRUE(counts().empty());
  EXPECT_TRUE(vrfs().empty());
}

}  // namespace
}  // namespace Agent
