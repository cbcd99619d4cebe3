#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmp.h"

// The three tables as typed suites see them: one arguments record and one set of operations each.
// Fields of Arguments stand in the order in which the table compares them.
namespace ConnectivityMonitorSnmp {

template <class Arguments>
struct Change {
  std::string attribute;
  std::function<void(Arguments&)> apply;
  std::string oldText;
  std::string newText;
};

inline Snmp::InetAddress inetAddress(const char* text) {
  return Snmp::InetAddress::fromIpGenAddr(*Lintu::IpGenAddr::parse(text));
}

struct IcmpForTest {
  using Row = IcmpProbeEntry;
  using Table = ConnectivityMonitorMib::IcmpTable;
  struct Arguments {
    ConnectivityMonitor::IcmpStats stats{.key = {"eth1", *Lintu::IpGenAddr::parse("192.0.2.10")},
                                         .result = "ok",
                                         .latency = 12.345F,
                                         .jitter = 0.2F,
                                         .lossRatio = 0.5F,
                                         .packetLoss = 1};
    Pomel::String client = "lab";
    Pomel::String host = "web1";
    Snmp::InetAddress ipAddr = inetAddress("192.0.2.10");
    std::uint32_t ifIndex = 7;
  };
  static constexpr const char* kTypeName = "ConnectivityMonitorSnmp::IcmpProbeEntry";

  static const Table& table(const ConnectivityMonitorMib& mib) { return mib.icmpTable(); }
  static Row::Ptr is(ConnectivityMonitorMib& mib, const Snmp::String& key, const Arguments& a) {
    return mib.icmpTableIs(key, a.stats, a.client, a.host, a.ipAddr, a.ifIndex);
  }
  static void del(ConnectivityMonitorMib& mib, const Snmp::String& key) { mib.icmpTableDel(key); }
  static void del(ConnectivityMonitorMib& mib, Table::const_iterator at) { mib.icmpTableDel(at); }
  static void delAll(ConnectivityMonitorMib& mib) { mib.icmpTableDelAll(); }
  static std::vector<Change<Arguments>> changes() {
    return {{"icmpStats", [](Arguments& a) { a.stats.lossRatio = 0.6F; },
             "eth1,192.0.2.10,ok,12.345,0.2,0.5,1", "eth1,192.0.2.10,ok,12.345,0.2,0.6,1"},
            {"client", [](Arguments& a) { a.client = "lab2"; }, "lab", "lab2"},
            {"host", [](Arguments& a) { a.host = ""; }, "web1", ""},
            {"ipAddr", [](Arguments& a) { a.ipAddr = inetAddress("2001:db8::1"); }, "1:c000020a",
             "2:20010db8000000000000000000000001"},
            {"ifIndex", [](Arguments& a) { a.ifIndex = 0; }, "7", "0"}};
  }
};

struct HttpForTest {
  using Row = HttpProbeEntry;
  using Table = ConnectivityMonitorMib::HttpTable;
  struct Arguments {
    ConnectivityMonitor::HttpStats stats{.key = {"eth1", "http://192.0.2.10/"},
                                         .result = "ok",
                                         .responseTime = 25.7F,
                                         .statusCode = 200};
    Pomel::String client = "lab";
    Pomel::String host = "web1";
    Pomel::String url = "http://192.0.2.10/";
    std::uint32_t ifIndex = 7;
  };
  static constexpr const char* kTypeName = "ConnectivityMonitorSnmp::HttpProbeEntry";

  static const Table& table(const ConnectivityMonitorMib& mib) { return mib.httpTable(); }
  static Row::Ptr is(ConnectivityMonitorMib& mib, const Snmp::String& key, const Arguments& a) {
    return mib.httpTableIs(key, a.stats, a.client, a.host, a.url, a.ifIndex);
  }
  static void del(ConnectivityMonitorMib& mib, const Snmp::String& key) { mib.httpTableDel(key); }
  static void del(ConnectivityMonitorMib& mib, Table::const_iterator at) { mib.httpTableDel(at); }
  static void delAll(ConnectivityMonitorMib& mib) { mib.httpTableDelAll(); }
  static std::vector<Change<Arguments>> changes() {
    return {{"httpStats", [](Arguments& a) { a.stats.statusCode = 500; },
             "eth1,http://192.0.2.10/,ok,25.7,200", "eth1,http://192.0.2.10/,ok,25.7,500"},
            {"client", [](Arguments& a) { a.client = "lab2"; }, "lab", "lab2"},
            {"host", [](Arguments& a) { a.host = "web2"; }, "web1", "web2"},
            {"url", [](Arguments& a) { a.url = "http://w/"; }, "http://192.0.2.10/", "http://w/"},
            {"ifIndex", [](Arguments& a) { a.ifIndex = 4'294'967'295U; }, "7", "4294967295"}};
  }
};

struct TcpForTest {
  using Row = TcpProbeEntry;
  using Table = ConnectivityMonitorMib::TcpTable;
  struct Arguments {
    ConnectivityMonitor::TcpStats stats{
        .key = {"eth1", 443, *Lintu::IpGenAddr::parse("192.0.2.10")},
        .result = "ok",
        .latency = 1.5F,
        .errorCode = 0};
    Pomel::String client = "lab";
    Pomel::String host = "web1";
    Snmp::InetAddress ipAddr = inetAddress("192.0.2.10");
    std::uint32_t ifIndex = 7;
    std::uint32_t port = 443;
  };
  static constexpr const char* kTypeName = "ConnectivityMonitorSnmp::TcpProbeEntry";

  static const Table& table(const ConnectivityMonitorMib& mib) { return mib.tcpTable(); }
  static Row::Ptr is(ConnectivityMonitorMib& mib, const Snmp::String& key, const Arguments& a) {
    return mib.tcpTableIs(key, a.stats, a.client, a.host, a.ipAddr, a.ifIndex, a.port);
  }
  static void del(ConnectivityMonitorMib& mib, const Snmp::String& key) { mib.tcpTableDel(key); }
  static void del(ConnectivityMonitorMib& mib, Table::const_iterator at) { mib.tcpTableDel(at); }
  static void delAll(ConnectivityMonitorMib& mib) { mib.tcpTableDelAll(); }
  static std::vector<Change<Arguments>> changes() {
    return {{"tcpStats", [](Arguments& a) { a.stats.errorCode = 111; },
             "eth1,443,192.0.2.10,ok,1.5,0", "eth1,443,192.0.2.10,ok,1.5,111"},
            {"client", [](Arguments& a) { a.client = ""; }, "lab", ""},
            {"host", [](Arguments& a) { a.host = "web2"; }, "web1", "web2"},
            {"ipAddr", [](Arguments& a) { a.ipAddr = {}; }, "1:c000020a", "0:"},
            {"ifIndex", [](Arguments& a) { a.ifIndex = 8; }, "7", "8"},
            {"port", [](Arguments& a) { a.port = 80; }, "443", "80"}};
  }
};

}  // namespace ConnectivityMonitorSnmp
