#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "agent/Fd.h"

struct netsnmp_transport_s;

namespace Agent {

/// SNMP over TCP (RFC 3430) by net-snmp's transport, but so that no peer holds the agent: that
/// transport waits until a peer has read its answer, takes up all that a peer has sent before it
/// looks at anybody else, keeps any amount of half a request, and has no limit to its connections.
///
/// Here a peer that does not read its answers is hung up on, as is one that sends much and no
/// request; a turn takes a few requests of each; and when there is no room for another connection,
/// it takes the place of the one that has been silent for the longest time.
class TcpPeers {
 public:
  static constexpr std::size_t kMostPeers = 64;

  /// At most one at a time, and it outlives the sessions of net-snmp.
  TcpPeers();
  TcpPeers(const TcpPeers&) = delete;
  TcpPeers& operator=(const TcpPeers&) = delete;
  ~TcpPeers();

  /// Answers requests at `address`, as net-snmp writes it: "tcp:127.0.0.1:1161". False with errno.
  [[nodiscard]] bool listenAt(const std::string& address);

 private:
  using Transport = netsnmp_transport_s;
  struct Peer {
    std::uint64_t heard = 0;     ///< The count of what all peers did until then.
    std::size_t unanswered = 0;  ///< Octets since the latest answer.
  };

  // In place of the transport's own functions, which they call.
  static int accept(Transport* transport);
  static int receive(Transport* transport, void* to, int size, void** opaque, int* opaqueSize);
  static int send(Transport* transport, const void* from, int size, void** opaque, int* opaqueSize);
  static int close(Transport* transport);

  void admit(int fd);
  /// The peer's session ends when net-snmp next wants to read from it.
  void hangUp(int fd);
  /// There is no descriptor for whoever waits at the listening socket, which would wake us for
  /// ever.
  void turnAway(int listening);

  int (*accept_)(Transport*) = nullptr;
  int (*receive_)(Transport*, void*, int, void**, int*) = nullptr;
  int (*close_)(Transport*) = nullptr;
  std::map<int, Peer> peers_;  ///< By descriptor; without those that were hung up on.
  std::uint64_t time_ = 0;
  Fd spare_{-1};  ///< Given up for a moment to turn somebody away.
};

}  // namespace Agent
