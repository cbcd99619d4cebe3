#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/loop/EventLoop.h"
#include "agent/snmp/MasterWatch.h"
#include "agent/snmp/NetSnmpLog.h"
#include "agent/snmp/TcpPeers.h"

namespace Agent {

struct SnmpSettings {
  std::vector<std::string> listen;    ///< Where to answer requests; empty for a subagent.
  std::optional<std::string> agentx;  ///< The master to serve through; empty: where net-snmp looks.
  std::string community;              ///< What reads the default VRF from this host.
  std::optional<std::string> conf;    ///< A file of snmpd.conf's directives.
  int maxRepetitions = 0;             ///< The most of a GETBULK; `conf` may say otherwise.
  int maxVarbinds = 0;  ///< The most in the answer to a GETBULK; `conf` may say otherwise.
};

/// The process's SNMP agent: net-snmp's, set up to read no configuration but what is given, to keep
/// no files, and to open no sockets but those that are asked for. At most one at a time, and only
/// once in a process, as net-snmp cannot be set up twice.
class SnmpEndpoint final : public RequestSource {
 public:
  /// Says what happens, a line at a time.
  using Log = std::function<void(const std::string&)>;

  /// A request of more octets is not looked at. Over a hundred names as long as ours get fit in.
  static constexpr std::uint32_t kMaxRequestOctets = 8192;

  /// Throws StartError.
  SnmpEndpoint(const SnmpSettings& settings, Log log);
  SnmpEndpoint(const SnmpEndpoint&) = delete;
  SnmpEndpoint& operator=(const SnmpEndpoint&) = delete;
  ~SnmpEndpoint() override;

  void prepare(std::vector<pollfd>& fds) override;
  bool dispatch(std::span<const pollfd> fds) override;
  std::optional<Clock::time_point> next() override { return next_; }
  void run() override;

 private:
  class FdSet;

  void listenAt(const std::vector<std::string>& addresses);
  void beSubagent(const std::string& master);

  Log log_;
  std::unique_ptr<FdSet> fds_;
  NetSnmpLog netSnmpLog_;
  TcpPeers tcpPeers_;
  std::optional<MasterWatch> masterWatch_;  ///< Of a subagent.
  std::optional<Clock::time_point> next_;
};

}  // namespace Agent
