#include "agent/snmp/ContextCommunities.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "agent/snmp/NetSnmp.h"

extern "C" {
#include <net-snmp/library/snmpUDPDomain.h>
#include <net-snmp/library/snmpUDPIPv6Domain.h>
}

namespace Agent {

namespace {

/// The security name and group of requests from this host, and the view they may read.
constexpr const char* kLocal = "conmonLocal";

/// `text` as one word of a configuration line.
std::string word(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
    }
    quoted += c;
  }
  return quoted + '"';
}

/// A copy, as net-snmp writes into the line.
void configure(std::string line) {  // cppcheck-suppress passedByValue
  netsnmp_config(line.data());
}

}  // namespace

void allowLocalReading() {
  for (const char* model : {"v1", "v2c"}) {
    configure(fmt::format("group {0} {1} {0}", kLocal, model));
  }
  for (const char* subtree : {".1.3.6.1.4.1.61111.3.38", ".1.3.6.1.2.1.1"}) {
    configure(fmt::format("view {} included {}", kLocal, subtree));
  }
  configure(fmt::format("access {0} \"\" any noauth prefix {0} none none", kLocal));
}

ContextCommunities::ContextCommunities(std::string community) : community_(std::move(community)) {
  add("");
  for (const Snmp::MibContext& known : Snmp::mibContexts()) {
    contextChanged(known, true);
  }
  changes_.subscribe(Snmp::mibContextChanges());
}

ContextCommunities::~ContextCommunities() {
  while (!entries_.empty()) {
    remove(entries_.begin()->first);
  }
}

void ContextCommunities::contextChanged(const Snmp::MibContext& which, const bool& present) {
  if (which.context.empty()) {
    return;  // Has its community whether or not a module of ours is there.
  }
  if (present) {
    add(which.context);
  } else if (std::ranges::none_of(Snmp::mibContexts(), [&](const Snmp::MibContext& other) {
               return other.context == which.context;
             })) {
    remove(which.context);
  }
}

void ContextCommunities::add(const Pomel::String& context) {
  const auto [at, made] = entries_.try_emplace(context);
  if (!made) {
    return;
  }
  const std::string community =
      context.empty() ? community_ : fmt::format("{}@{}", community_, context.view());
  in_addr network{htonl(INADDR_LOOPBACK & IN_CLASSA_NET)};
  in_addr mask{htonl(IN_CLASSA_NET)};
  netsnmp_udp_com2SecEntry_create(&at->second, community.c_str(), kLocal, context.c_str(), &network,
                                  &mask, 0);
  // net-snmp can take back all IPv6 communities at once or none. One that outlives its context
  // leads to a context in which there is nothing.
  std::string ipv6 = fmt::format("-Cn {} {} ::1 {}", word(context), kLocal, word(community));
  if (context.empty()) {
    ipv6 = fmt::format("{} ::1 {}", kLocal, word(community));
  }
  if (ipv6_.insert(context).second) {
    netsnmp_udp6_parse_security("com2sec6", ipv6.data());
  }
}

void ContextCommunities::remove(const Pomel::String& context) {
  const auto at = entries_.find(context);
  if (at == entries_.end()) {
    return;
  }
  if (at->second != nullptr) {
    netsnmp_udp_com2SecList_remove(at->second);
    netsnmp_udp_com2Sec_free(at->second);
  }
  entries_.erase(at);
}

}  // namespace Agent
