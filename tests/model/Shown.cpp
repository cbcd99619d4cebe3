#include "Shown.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "AgentForTest.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmp.h"
#include "ConnectivityMonitorSnmp/velmorConMonMIB.h"
#include "Difference.h"
#include "Snmp/MibContext.h"

namespace Model {

namespace {

using ConnectivityMonitorSnmp::ConnectivityMonitorMib;
using ConnectivityMonitorSnmp::HttpProbeEntry;
using ConnectivityMonitorSnmp::IcmpProbeEntry;
using ConnectivityMonitorSnmp::TcpProbeEntry;

std::string addressText(std::uint32_t type, std::string_view octets) {
  const bool isIpv4 = type == 1;
  if (octets.size() != (isIpv4 ? 4U : 16U) || type > 2) {
    throw Difference(fmt::format("an address of type {} has {} octets", type, octets.size()));
  }
  std::array<char, INET6_ADDRSTRLEN> text{};
  inet_ntop(isIpv4 ? AF_INET : AF_INET6, octets.data(), text.data(), text.size());
  return text.data();
}

template <class Entry>
Row common(const Entry& entry) {
  Row row;
  row.client = entry.client().stdString();
  row.host = entry.host().stdString();
  row.ifIndex = entry.ifIndex();
  return row;
}
Row rowOf(const IcmpProbeEntry& entry) {
  Row row = common(entry);
  row.target = addressText(entry.ipAddrType(), entry.ipAddrBytes().view());
  row.time = entry.latency();
  row.jitter = entry.jitter();
  row.loss = entry.packetLoss();
  return row;
}
Row rowOf(const HttpProbeEntry& entry) {
  Row row = common(entry);
  row.target = entry.url().stdString();
  row.time = entry.responseTime();
  return row;
}
Row rowOf(const TcpProbeEntry& entry) {
  Row row = common(entry);
  row.target = addressText(entry.ipAddrType(), entry.ipAddrBytes().view());
  row.port = entry.port();
  row.time = entry.latency();
  return row;
}

/// The key of a name: itself, or when it is long its beginning, a mark and 64 digits.
bool isKeyOf(std::string_view key, std::string_view name) {
  constexpr std::size_t kMaxKey = 90;
  constexpr std::size_t kKept = kMaxKey - 65;
  return name.size() <= kMaxKey ? key == name
                                : key.size() == kMaxKey && key[kKept] == '#' &&
                                      key.substr(0, kKept) == name.substr(0, kKept);
}

template <class Table>
void addRows(const std::string& vrf, Kind kind, const Table& table, Rows& rows) {
  for (const auto& entry : table) {
    const Row row = rowOf(entry);
    const RecordId named{row.client, vrf, row.host, kind, "", row.target, row.port};
    const std::string name = rowName(named, row.ifIndex);
    if (!isKeyOf(entry.indexShortName().view(), name)) {
      throw Difference(
          fmt::format("VRF {}: key {} of row {}", vrf, entry.indexShortName().view(), name));
    }
    if (!rows.emplace(RowId{vrf, kind, name}, row).second) {
      throw Difference(fmt::format("VRF {}: row {} is there twice", vrf, name));
    }
  }
}

}  // namespace

Shown shown(const Qiv::Dir& conMonMibRoot) {
  Shown all;
  for (const auto& [place, entity] : conMonMibRoot.entityPtr()) {
    const std::string vrf = place.stdString();
    const auto mib = Qiv::ptrCast<ConnectivityMonitorMib>(entity);
    if (!mib || mib->name() != place) {
      throw Difference(fmt::format("VRF {} has something else in its place", vrf));
    }
    all.contexts.insert(vrf);
    addRows(vrf, Kind::kIcmp, mib->icmpTable(), all.rows);
    addRows(vrf, Kind::kHttp, mib->httpTable(), all.rows);
    addRows(vrf, Kind::kTcp, mib->tcpTable(), all.rows);
  }
  std::set<std::string> served;
  for (const Snmp::MibContext& presence : Snmp::mibContexts()) {
    served.insert(presence.context.stdString());
  }
  // Managers reach the default VRF by the empty name, too.
  if (served.contains("default") != (served.erase("") != 0) || served != all.contexts) {
    throw Difference(fmt::format("{} VRFs have an object and {} an SNMP context",
                                 all.contexts.size(), served.size()));
  }
  return all;
}

void walkAgainst(const Rows& rows, const std::string& vrf) {
  using AgentForTest::Oid;
  using AgentForTest::operator/;
  for (const Kind kind : {Kind::kIcmp, Kind::kHttp, Kind::kTcp}) {
    std::vector<std::pair<std::string, std::string>> expected;  // Beginning of the key, client.
    for (const auto& [id, row] : rows) {
      if (id.vrf == vrf && id.kind == kind) {
        expected.emplace_back(id.name, row.client);
      }
    }
    const oid table = static_cast<oid>(kind) + 1;
    const Oid column{1, 3, 6, 1, 4, 1, 61111, 3, 38, 1, table, 1, 2};
    const auto found = AgentForTest::Agent::instance().walk(vrf, column);
    if (found.size() != expected.size()) {
      throw Difference(fmt::format("VRF {}: a walk finds {} rows of table {} where {} are", vrf,
                                   found.size(), table, expected.size()));
    }
    // Each row is met once: whoever is met is struck out.
    for (const auto& varbind : found) {
      std::string key;
      std::transform(varbind.name.begin() + static_cast<std::ptrdiff_t>(column.size()) + 1,
                     varbind.name.end(), std::back_inserter(key),
                     [](oid subId) { return static_cast<char>(subId); });
      const auto at = std::ranges::find_if(expected, [&](const auto& row) {
        return isKeyOf(key, row.first) && row.second == varbind.octets;
      });
      if (at == expected.end()) {
        throw Difference(fmt::format("VRF {}: a walk finds key {} of client {}, which is no row",
                                     vrf, key, varbind.octets));
      }
      expected.erase(at);
    }
  }
}

void endContexts() {
  const auto present = Snmp::mibContexts();
  for (const Snmp::MibContext& presence : present) {
    unregister_velmorConMonMIB(presence.context);
  }
}

}  // namespace Model
