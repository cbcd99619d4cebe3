/// Requests to the MIB module inside this process, as an SNMP manager can make them: any names, any
/// kinds, any number of varbinds, on the way that net-snmp takes from a parsed PDU to the answer;
/// and index hints and request lists straight into the tables' functions, which net-snmp would not
/// pass on like that.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "ConnectivityMonitorSnmp/velmorConMonMIB.h"
#include "FuzzInput.h"
#include "Qiv/Dir.h"
#include "RequestList.h"
#include "Snmp/CentrumUtil.h"
#include "TableFacts.h"
#include "Walk.h"

using namespace TableFacts;
using AgentForTest::Oid;

namespace {

constexpr std::size_t kMaxVarbinds = 20;

/// Two contexts with rows whose keys are neighbours, prefixes of each other, empty, or as long as a
/// key gets.
class World {
 public:
  static World& instance() {
    static auto* const world = new World;
    return *world;
  }

  const AgentForTest::Agent& agent = AgentForTest::Agent::instance();

  [[nodiscard]] ConnectivityMonitorMib& mib(std::string_view vrf) {
    const auto dir = Qiv::dirAt(root_, "snmp/connectivityMonitor/conMonMib");
    return dynamic_cast<ConnectivityMonitorMib&>(
        *dir->entityIs(vrf, ConnectivityMonitorMib::kTypeName));
  }

 private:
  World() {
    Snmp::CentrumUtil::agentRootIs(root_);
    for (const char* vrf : {"default", "blue"}) {
      auto& rows = mib(vrf);
      for (const std::string& key :
           {std::string(), std::string("a"), std::string("b"), std::string("ab"),
            std::string("\xff"), std::string(90, 'k')}) {
        Icmp::put(rows, key);
        Http::put(rows, key);
        Tcp::put(rows, key);
      }
      init_velmorConMonMIB(vrf);
    }
  }

  Qiv::Dir::Ptr root_ = Qiv::make<Qiv::Dir>("root");
};

/// A name: some way down to an instance of ours, then whatever comes.
Oid nameFrom(FuzzInput& input) {
  const oid table = input.octet() % 5;
  const oid column = input.octet() % 14;
  const std::string_view key = input.octets(input.octet() % 100);
  Oid whole{1, 3, 6, 1, 4, 1, 61111, 3, 38, 1, table, 1, column, key.size()};
  for (const char octet : key) {
    whole.push_back(static_cast<unsigned char>(octet));
  }
  const std::size_t left = input.octet();
  whole.resize(std::min(whole.size(), std::max<std::size_t>(2, left)));
  for (std::size_t more = input.octet() % 8; more > 0; --more) {
    whole.push_back(input.number());
  }
  whole.resize(std::min<std::size_t>(whole.size(), MAX_OID_LEN));
  return whole;
}

void request(FuzzInput& input) {
  World& world = World::instance();
  static constexpr std::array<std::string_view, 4> kContexts = {"", "default", "blue", "none"};
  const std::string_view context = kContexts[input.octet() % kContexts.size()];
  const int kind = input.octet() % 4;
  const int repetitions = input.octet() % 8;
  std::vector<Oid> names;
  do {
    names.push_back(nameFrom(input));
  } while (names.size() < kMaxVarbinds && input.octet() % 4 != 0);
  AgentForTest::Response response;
  switch (kind) {
    case 0:
      response = world.agent.get(context, names);
      break;
    case 1:
      response = world.agent.getNext(context, names);
      break;
    case 2:
      response = world.agent.getBulk(context, names, repetitions);
      break;
    default:
      response = world.agent.set(context, names);
      // There is nothing to be set anywhere. (net-snmp itself has no objection where nothing is.)
      require(response.status != SNMP_ERR_NOERROR || context == "none");
  }
  if (kind == 1 && response.status == SNMP_ERR_NOERROR) {
    for (std::size_t i = 0; i < names.size(); ++i) {
      const auto& found = response.varbinds.at(i);
      require(found.type == SNMP_ENDOFMIBVIEW || found.name > names[i]);
    }
  }
}

/// A hint of a type and a length that net-snmp does not make.
template <class Table>
void walk(FuzzInput& input) {
  Walk<Table> walk(World::instance().mib("blue"));
  netsnmp_table_request_info hint{};
  hint.number_indexes = input.octet() % 3;
  const std::string_view key = input.octets(input.octet());
  const u_char type = input.octet() % 2 == 0 ? u_char{ASN_OCTET_STR} : input.octet();
  if (input.octet() % 8 != 0) {
    snmp_varlist_add_variable(&hint.indexes, nullptr, 0, ASN_OCTET_STR, key.data(), key.size());
    hint.indexes->type = type;
  }
  std::vector<std::string> keys;
  if (auto found = walk.first(&hint)) {
    keys.push_back(*found);
    for (std::string& next : walk.rest()) {
      keys.push_back(std::move(next));
    }
  }
  snmp_free_varbind(hint.indexes);
  require(!keys.empty() && keys.size() <= 6);
  require(std::ranges::is_sorted(keys, [](const std::string& a, const std::string& b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
  }));
}

/// Requests with and without a row, open and processed, for any column, in any mode.
template <class Table>
void handle(FuzzInput& input) {
  static constexpr std::array<int, 5> kModes = {MODE_GET, MODE_GETNEXT, MODE_GETBULK,
                                                MODE_SET_RESERVE1, MODE_SET_COMMIT};
  RequestList<Table> list(World::instance().mib("blue"), kModes[input.octet() % kModes.size()]);
  for (std::size_t left = input.octet() % 6; left > 0; --left) {
    const unsigned column = input.octet() % 2 == 0 ? input.octet() % 14U : input.number();
    netsnmp_request_info& request =
        input.octet() % 4 == 0 ? list.addWithoutRow(column) : list.add(column, "ab");
    request.processed = input.octet() % 4 == 0 ? 1 : 0;
  }
  const int result = list.handle();
  require(result == SNMP_ERR_NOERROR);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  World::instance();
  const WithinASecond limit;
  FuzzInput input(data, size);
  switch (input.octet() % 9) {
    case 0:
      walk<Icmp>(input);
      break;
    case 1:
      walk<Http>(input);
      break;
    case 2:
      walk<Tcp>(input);
      break;
    case 3:
      handle<Icmp>(input);
      break;
    case 4:
      handle<Http>(input);
      break;
    case 5:
      handle<Tcp>(input);
      break;
    default:
      request(input);
  }
  return 0;
}
