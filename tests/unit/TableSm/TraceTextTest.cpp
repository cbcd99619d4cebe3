#include <algorithm>
#include <set>

#include "TraceScenario.h"

/// The words of every trace line, by table, with {} for what is printed into it.

namespace {

struct Text {
  int level;
  std::string pattern;
  auto operator<=>(const Text&) const = default;
};

/// Of the ICMP table, written out whole. Sorted by where they come from.
std::vector<Text> icmpTexts() {
  return {
      // Events.
      {7,
       "icmpStream = from( clientDir.entityPtr< StatusDir >[].hostStatus[].icmpStats[] ): "
       "client={} hostKey={} icmpStatsKey={}"},
      {7, "ifMibIcmpStream = from( ifMib.ifIndexByIntfId[] ): intfId={} ifIndexOpt={}"},
      {7,
       "maybeUpdateMibIcmpTable = merge( icmpStream, ifMibIcmpStream ): client={} hostKey={} "
       "icmpStatsKey={} intfId={}"},
      {6, "filter( icmpStatsInfoSetOpt ) failed, terminating pipeline"},
      {6, " foreach( ( *icmpStatsInfoSetOpt ).icmpStatsInfoSet ) flattening {} elements"},
      {9, "Flattening element: {}"},
      {7, "into( vrfRefCount.vrfRefCount[ vrfName ] ): deleting k1={}"},
      {7, "into( vrfRefCount.vrfRefCount[ vrfName ] ): inserting k1={}, value={}"},
      {7, "into( conMonMib.icmpTable[ index ] ): deleting k1={}"},
      {7, "into( conMonMib.icmpTable[ index ] ): inserting k1={}, value={}"},
      {7,
       "into( intfToIcmpStatsBacklog[ intfId ].icmpStatsInfoSet[ IcmpStatsInfo( client, "
       "hostKey, icmpStatsKey ) ] ): inserting k1={}, k2={}"},
      {7,
       "into( intfToIcmpStatsBacklog[ intfId ].icmpStatsInfoSet[ IcmpStatsInfo( client, "
       "hostKey, icmpStatsKey ) ] ): deleting k1={}, k2={}"},
      {6, "filter( ( currRef == 0 ) ) failed, terminating pipeline"},
      {8, "Registering connectivityMonitor mib in context {}"},
      // Input scans.
      {8, "k: {}"},
      {9, "{}"},
      {9, " scan complete: {} resumed: {} scan: {}"},
      {8, "{} {} yielding after {} iterations ({} total items)"},
      {9, "IfMibSm0 initial scan, and parent scan, complete."},
      {9, "IfMibSm0 scan, and parent scan, complete."},
      {9, "ClientDirSm1 initial scan, and parent scan, complete."},
      {9, "ClientDirSm1 scan, and parent scan, complete."},
      {9, "EntityPtrSm2 initial scan complete. Processed {} children. "},
      {9, "EntityPtrSm2 scan complete. Processed {} children. "},
      {9, "HostStatusSm3 initial scan complete. Processed {} children. "},
      {9, "HostStatusSm3 scan complete. Processed {} children. "},
      {9, " icmpStream scan is false"},
      {9, " ifMibIcmpStream scan is false"},
      {9, "Initial scan yielding for child SM ConnectivityMonitorSnmpIcmpTableSm."},
      {9, "Initial scan done for child SMs. Now scanning with events triggered."},
      // Reconciliation.
      {9, "handleIntfToIcmpStatsBacklogIcmpStatsInfoSetOutputInputReady"},
      {9, "handleConnectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputInputReady"},
      {9, "handleVrfRefCountVrfRefCountOutputInputReady"},
      {9, " already ready, not reconciling."},
      {9, "Input scans for intfToIcmpStatsBacklogIcmpStatsInfoSetOutput complete"},
      {9,
       "Input scans for connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutput "
       "complete"},
      {9, "Input scans for vrfRefCountVrfRefCountOutput complete"},
      {9,
       "Yielding in reconciliation processing after processing {} items, including {} "
       "deletions ."},
      {9,
       "Deletion scan for reconciliation is done, last task run processed {} items, deleting "
       "{} items."},
      // Lifecycle.
      {9, "Reconciling connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutput: {}"},
      {9, "Reconciling vrfRefCountVrfRefCountOutput: {}"},
      {9, "create local SMs"},
      {9, "create non-public arg SMs"},
      {9, "initialized"},
  };
}

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (std::size_t at = text.find(from); at != std::string::npos;
       at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

/// The same of another table: its names, its children's numbers, and the one line more.
template <class Table>
std::vector<Text> textsOf() {
  using Facts = TableFacts<Table>;
  std::vector<Text> texts = icmpTexts();
  for (Text& text : texts) {
    replaceAll(text.pattern, "icmp", Facts::kLower);
    replaceAll(text.pattern, "Icmp", Facts::kTitle);
    unsigned number = Facts::kFirstChild;
    for (const std::string name : {"IfMibSm0", "ClientDirSm1", "EntityPtrSm2", "HostStatusSm3"}) {
      replaceAll(text.pattern, name, name.substr(0, name.size() - 1) + std::to_string(number++));
    }
  }
  if (!Facts::kMissingMibThrows) {
    texts.push_back({6, "filter( conMonMibOpt ) failed, terminating pipeline"});
  }
  return texts;
}

/// Whether `text` is `pattern` with something, perhaps nothing, for each {}.
bool matches(std::string_view text, std::string_view pattern) {
  const std::size_t hole = pattern.find("{}");
  if (hole == std::string_view::npos) {
    return text == pattern;
  }
  if (!text.starts_with(pattern.substr(0, hole))) {
    return false;
  }
  const std::string_view rest = pattern.substr(hole + 2);
  for (std::size_t skip = hole; skip <= text.size(); ++skip) {
    if (matches(text.substr(skip), rest)) {
      return true;
    }
  }
  return false;
}

/// The key of a scanned machine is a line by itself; anything but the keys that there are would
/// make its pattern match everything.
bool isScannedKey(std::string_view text) {
  return text.empty() || text == "lab" || text == "web,default" || text == "db,blue" ||
         text == "web,red";
}

template <class Table>
class TraceTexts : public testing::Test {};
TYPED_TEST_SUITE(TraceTexts, AllTables, TableNames);

TYPED_TEST(TraceTexts, EveryLineIsOneOfTheTablesTextsAtItsLevel) {
  const auto texts = textsOf<TypeParam>();
  for (const auto& line : TraceScenario<TypeParam>::run()) {
    const bool known = std::ranges::any_of(texts, [&](const Text& text) {
      return text.level == line.level && matches(line.text, text.pattern) &&
             (text.pattern != "{}" || isScannedKey(line.text));
    });
    EXPECT_TRUE(known) << line.level << ": " << line.text;
  }
}

TYPED_TEST(TraceTexts, EveryTextIsTraced) {
  const auto lines = TraceScenario<TypeParam>::run();
  for (const Text& text : textsOf<TypeParam>()) {
    EXPECT_TRUE(std::ranges::any_of(lines,
                                    [&](const auto& line) {
                                      return text.level == line.level &&
                                             matches(line.text, text.pattern);
                                    }))
        << text.level << ": " << text.pattern;
  }
}

TYPED_TEST(TraceTexts, BelowItsLevelALineIsNotWritten) {
  TableSmWorld<TypeParam> world;
  world.start();
  const TraceRecorder trace({kTableSmUnit});
  for (const int level : {-1, 5, 6, 7, 8, 9}) {
    Trace::handle(kTableSmUnit).levelIs(level);
    world.ifIndexIs("eth1", static_cast<std::uint32_t>(level + 10));
    world.put("lab", "web", world.key("eth1", 1), static_cast<float>(level));
    world.put("lab", "web" + std::to_string(level), world.key("eth1", 1), 1.5F);
    std::set<int> levels;
    for (const auto& line : trace.lines()) {
      levels.insert(line.level);
    }
    std::set<int> expected;
    for (int each = 6; each <= level; ++each) {
      expected.insert(each);
    }
    EXPECT_EQ(levels, expected) << level;
  }
}

}  // namespace
