#pragma once

#include <map>
#include <set>
#include <string>

#include "Qiv/Publisher.h"
#include "Snmp/MibContext.h"

struct com2SecEntry_s;

namespace Agent {

/// Gives requests that came with one of the communities below their right to read. Before net-snmp
/// reads its configuration, which would else complain that nobody has any right.
void allowLocalReading();

/// Who may read what without further configuration: from this host, COMMUNITY reads the context
/// without a name and COMMUNITY@CONTEXT each other context, for as long as a MIB module is present
/// in it; only the monitor's subtree and the system group, and nothing may be written.
class ContextCommunities {
 public:
  /// After net-snmp has read its configuration.
  explicit ContextCommunities(std::string community);
  ContextCommunities(const ContextCommunities&) = delete;
  ContextCommunities& operator=(const ContextCommunities&) = delete;
  /// Before net-snmp is shut down.
  ~ContextCommunities();

 private:
  void contextChanged(const Snmp::MibContext& which, const bool& present);
  void add(const Pomel::String& context);
  void remove(const Pomel::String& context);

  std::string community_;
  std::map<Pomel::String, com2SecEntry_s*> entries_;
  std::set<Pomel::String> ipv6_;  ///< Contexts that were ever given an IPv6 community.
  Qiv::Subscription<&ContextCommunities::contextChanged, Snmp::MibContext, bool> changes_{*this};
};

}  // namespace Agent
