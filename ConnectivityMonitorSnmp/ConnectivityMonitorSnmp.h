#pragma once

#include <string_view>

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpProbeEntry.h"
#include "Qiv/Entity.h"
#include "Qiv/OrderedMap.h"

namespace ConnectivityMonitorSnmp {

/// Names a row by its index, for its table.
template <class Row>
struct IndexOf {
  using type = Snmp::String;
  const type& operator()(const Row& row) const noexcept { return row.indexShortName(); }
};

/// What one SNMP context (one VRF) serves: three ordered tables of rows. The table state machines
/// are its only writers; the MIB module walks it between their steps.
///
/// ...TableIs never changes a row in place: it returns the row that is there when all arguments are
/// equal (nothing is published), and throws Qiv::ReinstantiatingError, naming the first attribute
/// that differs, when they are not. A changed row is deleted first.
class ConnectivityMonitorMib final : public Qiv::NamedEntity {
 public:
  using Ptr = Qiv::Ptr<ConnectivityMonitorMib>;
  using PtrConst = Qiv::Ptr<const ConnectivityMonitorMib>;
  template <class Row>
  using Table = Qiv::OrderedMap<Row, IndexOf<Row>>;
  using IcmpTable = Table<IcmpProbeEntry>;
  using HttpTable = Table<HttpProbeEntry>;
  using TcpTable = Table<TcpProbeEntry>;
  static constexpr std::string_view kTypeName = "ConnectivityMonitorSnmp::ConnectivityMonitorMib";

  /// Use connectivityMonitorMibFactory.
  explicit ConnectivityMonitorMib(Pomel::String name);
  /// Empties the tables first, ICMP, HTTP, TCP, every deletion published.
  ~ConnectivityMonitorMib() override;
  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;

  [[nodiscard]] const IcmpTable& icmpTable() const noexcept { return icmpTable_; }
  [[nodiscard]] const HttpTable& httpTable() const noexcept { return httpTable_; }
  [[nodiscard]] const TcpTable& tcpTable() const noexcept { return tcpTable_; }

  IcmpProbeEntry::Ptr icmpTableIs(const Snmp::String& indexShortName,
                                  const ConnectivityMonitor::IcmpStats& icmpStats,
                                  const Pomel::String& client, const Pomel::String& host,
                                  const Snmp::InetAddress& ipAddr, std::uint32_t ifIndex);
  HttpProbeEntry::Ptr httpTableIs(const Snmp::String& indexShortName,
                                  const ConnectivityMonitor::HttpStats& httpStats,
                                  const Pomel::String& client, const Pomel::String& host,
                                  const Pomel::String& url, std::uint32_t ifIndex);
  TcpProbeEntry::Ptr tcpTableIs(const Snmp::String& indexShortName,
                                const ConnectivityMonitor::TcpStats& tcpStats,
                                const Pomel::String& client, const Pomel::String& host,
                                const Snmp::InetAddress& ipAddr, std::uint32_t ifIndex,
                                std::uint32_t port);

  /// Silent when absent.
  void icmpTableDel(const Snmp::String& indexShortName) { icmpTable_.erase(indexShortName); }
  void httpTableDel(const Snmp::String& indexShortName) { httpTable_.erase(indexShortName); }
  void tcpTableDel(const Snmp::String& indexShortName) { tcpTable_.erase(indexShortName); }
  void icmpTableDel(IcmpTable::const_iterator at) { icmpTable_.erase(at); }
  void httpTableDel(HttpTable::const_iterator at) { httpTable_.erase(at); }
  void tcpTableDel(TcpTable::const_iterator at) { tcpTable_.erase(at); }
  void icmpTableDelAll() { icmpTable_.clear(); }
  void httpTableDelAll() { httpTable_.clear(); }
  void tcpTableDelAll() { tcpTable_.clear(); }

  /// The row key for a composed row name: at most 90 octets, the same name always the same key, two
  /// names never one.
  [[nodiscard]] static Snmp::String uniqueKey(std::string_view name);

 private:
  /// uniqueKey as the framework's function attribute, which belongs to an object.
  friend const Qiv::TypeInfo& connectivityMonitorMibType();
  [[nodiscard]] Snmp::String uniqueKeyOf(std::string_view name) const { return uniqueKey(name); }

  IcmpTable icmpTable_;
  HttpTable httpTable_;
  TcpTable tcpTable_;
};

[[nodiscard]] ConnectivityMonitorMib::Ptr connectivityMonitorMibFactory(const Pomel::String& name);
[[nodiscard]] ConnectivityMonitorMib::Ptr ConnectivityMonitorMibIs(const Pomel::String& name);

}  // namespace ConnectivityMonitorSnmp
