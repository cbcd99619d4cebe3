#pragma once

// What the engine needs of the network, so that tests can be the network.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <variant>

#include "monitor/Prober.h"
#include "monitor/icmp/Wire.h"

namespace Monitor::Icmp {

/// Takes what comes in on one socket. The octets hold during the call only.
class PacketSink {
 public:
  PacketSink() = default;
  PacketSink(const PacketSink&) = delete;
  PacketSink& operator=(const PacketSink&) = delete;

  /// A packet for us, whatever it is; `at` is when the kernel got it.
  virtual void received(std::span<const std::uint8_t> bytes, const IpAddress& from,
                        Clock::time_point at) = 0;
  /// A copy of what was sent, and when it left for the wire.
  virtual void transmitted(std::span<const std::uint8_t> bytes, Clock::time_point at) = 0;
  /// An ICMP error that quotes what we sent. `text` is for a person.
  virtual void refused(std::span<const std::uint8_t> quotation, const std::string& text) = 0;

 protected:
  ~PacketSink() = default;
};

struct Outgoing {
  const SocketAddress* to = nullptr;
  EchoBytes bytes{};
};

/// How far a batch got.
struct Sent {
  enum class Stop : std::uint8_t {
    kNone,  ///< All were sent.
    kBusy,  ///< No room for the next one now: in the socket, the queue of the device, memory.
    kUnreachable,  ///< The next one has no way to its target: told of the target, not of us.
    kBroken,       ///< Nothing can be sent: the device is gone, a permission is missing.
  };

  std::size_t count = 0;
  Stop stop = Stop::kNone;
  int error = 0;  ///< errno, unless all were sent.
};

/// One socket.
class PacketIo {
 public:
  PacketIo() = default;
  PacketIo(const PacketIo&) = delete;
  PacketIo& operator=(const PacketIo&) = delete;
  virtual ~PacketIo() = default;

  [[nodiscard]] virtual Framing framing() const = 0;
  /// What this socket's requests must carry, and its replies do.
  [[nodiscard]] virtual std::uint16_t identifier() const = 0;

  static constexpr std::size_t kMostAtOnce = 32;

  /// Sends in order, up to the first that can't be. Precondition: at most kMostAtOnce.
  virtual Sent send(std::span<const Outgoing> batch) = 0;
  /// Whether transmitted() is to be called for what is sent from now on. It costs about a sixth of
  /// a packet's CPU time.
  virtual void stampTransmissions(bool on) = 0;
  /// How many packets this socket has lost since it was opened because they weren't read in time.
  [[nodiscard]] virtual std::uint64_t overflowed() const = 0;
  /// Whether the device and namespace it was opened for still are what their names mean.
  [[nodiscard]] virtual bool current() const = 0;
};

/// Where sockets come from. It outlives them.
class Network {
 public:
  using Opened = std::variant<std::unique_ptr<PacketIo>, SocketError>;

  Network() = default;
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;
  virtual ~Network() = default;

  /// `sink` outlives the socket.
  [[nodiscard]] virtual Opened open(const Binding& binding, int family, PacketSink& sink) = 0;

  /// Hands what has come in on any socket to its sink: replies first, then the times of sending, so
  /// that the time of an answered request is known when this returns. True when nothing was left
  /// unread; false when it stopped because there was too much.
  virtual bool receive() = 0;
};

}  // namespace Monitor::Icmp
