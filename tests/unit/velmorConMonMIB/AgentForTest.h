#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>

namespace AgentForTest {

using Oid = std::vector<oid>;

/// `base` and more sub-identifiers.
[[nodiscard]] Oid operator/(Oid base, oid subId);
/// `base` and a string as a non-IMPLIED index: its length, then its octets.
[[nodiscard]] Oid operator/(Oid base, std::string_view index);

/// A varbind as the agent left it.
struct Varbind {
  Oid name;
  int type = 0;
  std::string octets;  ///< Of a string.
  long number = 0;     ///< Of an integer.
  std::string wire;    ///< The value as BER (X.690), where it has one.

  friend bool operator==(const Varbind&, const Varbind&) = default;
};

struct Response {
  int status = 0;  ///< error-status
  int index = 0;   ///< error-index
  std::vector<Varbind> varbinds;
};

/// The agent of this process, without sockets or configuration files. Requests take net-snmp's
/// whole way from the parsed PDU to the answered one.
class Agent {
 public:
  /// Brought up at its first use and never taken down: net-snmp loses memory when that happens
  /// twice.
  [[nodiscard]] static const Agent& instance();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  [[nodiscard]] Response get(std::string_view context, const std::vector<Oid>& names) const;
  [[nodiscard]] Response getNext(std::string_view context, const std::vector<Oid>& names) const;
  [[nodiscard]] Response getBulk(std::string_view context, const std::vector<Oid>& names,
                                 int repetitions) const;
  /// Sets every name to the integer 1.
  [[nodiscard]] Response set(std::string_view context, const std::vector<Oid>& names) const;

  /// The one varbind of a GET or GETNEXT of one name.
  [[nodiscard]] Varbind getOne(std::string_view context, const Oid& name) const;
  [[nodiscard]] Varbind next(std::string_view context, const Oid& name) const;

  /// All that GETNEXT finds below `root`.
  [[nodiscard]] std::vector<Varbind> walk(std::string_view context, const Oid& root) const;

  /// The handler registered for exactly this OID, or null.
  [[nodiscard]] netsnmp_handler_registration* registration(std::string_view context,
                                                           const Oid& name) const;

 private:
  Agent();
};

}  // namespace AgentForTest
