#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmp.h"

#include "Qiv/TypeRegistry.h"
#include "Snmp/HashShortenedIdentifier.h"

namespace ConnectivityMonitorSnmp {

namespace {

constexpr std::size_t kMaxKey = 90;

template <class Value>
void requireSame(std::string_view type, std::string_view attribute, const Value& oldValue,
                 const Value& newValue) {
  if (oldValue == newValue) {
    return;
  }
  if constexpr (std::same_as<Value, Pomel::String> || std::same_as<Value, std::uint32_t>) {
    Qiv::throwMutatorReinstantiating(type, attribute, oldValue, newValue);
  } else {
    Qiv::Impl::throwMutatorReinstVal(type, attribute, oldValue, newValue);
  }
}

/// Throws for the first of the row's arguments that differs from `arguments`.
template <class Row, class Arguments>
void requireSameArguments(const Row& row, const Arguments& arguments) {
  const auto present = row.arguments();
  [&]<std::size_t... I>(std::index_sequence<I...> /*unused*/) {
    (requireSame(Row::kTypeName, Row::kArgumentNames[I], std::get<I>(present),
                 std::get<I>(arguments)),
     ...);
  }
  (std::make_index_sequence<std::tuple_size_v<Arguments>>{});
}

template <class Row, class... Args>
Qiv::Ptr<Row> tableIs(ConnectivityMonitorMib::Table<Row>& table, const Snmp::String& indexShortName,
                      const Args&... args) {
  bool made = false;
  Qiv::Ptr<Row> row = table.findOrInsert(
      indexShortName, [&] { return probeEntryFactory<Row>(indexShortName, args...); }, made);
  if (!made) {
    requireSameArguments(*row, std::tie(args...));
  }
  return row;
}

}  // namespace

const Qiv::TypeInfo& connectivityMonitorMibType() {
  using Mib = ConnectivityMonitorMib;
  static const Qiv::TypeInfo type{
      Mib::kTypeName,
      [](const Pomel::String& name) -> Qiv::Entity::Ptr {
        return connectivityMonitorMibFactory(name);
      },
      {Qiv::attribute<&Mib::name>("name"), Qiv::collection<&Mib::icmpTable>("icmpTable"),
       Qiv::collection<&Mib::httpTable>("httpTable"), Qiv::collection<&Mib::tcpTable>("tcpTable"),
       Qiv::function<&Mib::uniqueKeyOf>("uniqueKey")}};
  return type;
}

namespace {
const Qiv::TypeRegistration registration{connectivityMonitorMibType()};
}  // namespace

ConnectivityMonitorMib::ConnectivityMonitorMib(Pomel::String name) : NamedEntity(std::move(name)) {}

ConnectivityMonitorMib::~ConnectivityMonitorMib() {
  beingDestroyedIs(true);
  icmpTableDelAll();
  httpTableDelAll();
  tcpTableDelAll();
}

const Qiv::TypeInfo& ConnectivityMonitorMib::typeInfo() const {
  return connectivityMonitorMibType();
}

IcmpProbeEntry::Ptr ConnectivityMonitorMib::icmpTableIs(
    const Snmp::String& indexShortName, const ConnectivityMonitor::IcmpStats& icmpStats,
    const Pomel::String& client, const Pomel::String& host, const Snmp::InetAddress& ipAddr,
    std::uint32_t ifIndex) {
  return tableIs(icmpTable_, indexShortName, icmpStats, client, host, ipAddr, ifIndex);
}

HttpProbeEntry::Ptr ConnectivityMonitorMib::httpTableIs(
    const Snmp::String& indexShortName, const ConnectivityMonitor::HttpStats& httpStats,
    const Pomel::String& client, const Pomel::String& host, const Pomel::String& url,
    std::uint32_t ifIndex) {
  return tableIs(httpTable_, indexShortName, httpStats, client, host, url, ifIndex);
}

TcpProbeEntry::Ptr ConnectivityMonitorMib::tcpTableIs(const Snmp::String& indexShortName,
                                                      const ConnectivityMonitor::TcpStats& tcpStats,
                                                      const Pomel::String& client,
                                                      const Pomel::String& host,
                                                      const Snmp::InetAddress& ipAddr,
                                                      std::uint32_t ifIndex, std::uint32_t port) {
  return tableIs(tcpTable_, indexShortName, tcpStats, client, host, ipAddr, ifIndex, port);
}

Snmp::String ConnectivityMonitorMib::uniqueKey(std::string_view name) {
  return Snmp::HashShortenedIdentifier::singleton()->generateUniqueId(name, kMaxKey, true, 0);
}

ConnectivityMonitorMib::Ptr connectivityMonitorMibFactory(const Pomel::String& name) {
  return Qiv::make<ConnectivityMonitorMib>(name);
}

ConnectivityMonitorMib::Ptr ConnectivityMonitorMibIs(const Pomel::String& name) {
  return connectivityMonitorMibFactory(name);
}

}  // namespace ConnectivityMonitorSnmp
