#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "monitor/icmp/PacketIo.h"

namespace Monitor::Icmp::Testing {

/// A network that does what a test says, in a time that a test says.
class FakeNetwork final : public Network {
 public:
  /// A request that reached the network.
  struct Request {
    EchoBytes bytes{};
    IpAddress to;
    Clock::time_point at;
    PacketSink* sink = nullptr;
    Framing framing{};
  };

  explicit FakeNetwork(const Clock::time_point& now) : now_(now) {}

  // What the test rules:
  std::function<void(const Request&)> onRequest = [](const Request&) {};
  std::function<Sent::Stop(const IpAddress& to)> onSend = [](const IpAddress&) {
    return Sent::Stop::kNone;
  };
  int sendError = 0;  ///< errno of every stop.
  std::optional<SocketError> openError;
  bool current = true;
  std::uint64_t overflowed = 0;
  bool allRead = true;
  Framing v4Framing = Framing::kIcmpv4;
  /// How long receiving hands out nothing, though packets come in at their time.
  bool reading = true;

  // What the test looks at:
  std::vector<Request> requests;
  int opened = 0;
  int closed = 0;
  int stampings = 0;  ///< Sockets told to stamp less those told not to.
  std::vector<std::size_t> batches;

  /// The honest reply to a request, as its socket would hand it out.
  [[nodiscard]] static std::vector<std::uint8_t> replyTo(const Request& request) {
    EchoBytes reply = request.bytes;
    if (isV6(request.framing)) {
      reply[0] = 129;
    } else {
      reply[0] = 0;
      setChecksum(reply);
    }
    std::vector<std::uint8_t> bytes(reply.begin(), reply.end());
    if (request.framing == Framing::kIpv4Header) {
      std::vector<std::uint8_t> header(20, 0);
      header[0] = 0x45;
      header[3] = static_cast<std::uint8_t>(20 + kEchoSize);
      header[9] = 1;
      bytes.insert(bytes.begin(), header.begin(), header.end());
    }
    return bytes;
  }

  static void setChecksum(EchoBytes& bytes) {
    bytes[2] = bytes[3] = 0;
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
      sum += static_cast<std::uint32_t>(bytes[i] << 8 | bytes[i + 1]);
    }
    while (sum >> 16 != 0) {
      sum = (sum & 0xffff) + (sum >> 16);
    }
    bytes[2] = static_cast<std::uint8_t>(~sum >> 8 & 0xff);
    bytes[3] = static_cast<std::uint8_t>(~sum & 0xff);
  }

  /// The honest reply arrives `delay` after the request was sent.
  void reply(const Request& request, Clock::duration delay) {
    arrive(request.at + delay, request, replyTo(request), request.to);
  }
  void arrive(Clock::time_point at, const Request& request, std::vector<std::uint8_t> bytes,
              IpAddress from) {
    incoming_.emplace(at, Packet{request.sink, std::move(bytes), from});
  }
  /// The kernel's word that the request left `delay` after it was handed over.
  void stamp(const Request& request, Clock::duration delay) {
    std::array<std::uint8_t, 34 + kEchoSize> copy{};  // behind link and network header
    std::copy(request.bytes.begin(), request.bytes.end(), copy.begin() + 34);
    request.sink->transmitted(copy, request.at + delay);
  }
  /// An ICMP error that quotes the request's first octets.
  static void refuse(const Request& request, const std::string& text,
                     std::size_t quoted = kEchoSize) {
    request.sink->refused(std::span(request.bytes).first(quoted), text);
  }

  [[nodiscard]] Opened open(const Binding&, int family, PacketSink& sink) override {
    if (openError) {
      return *openError;
    }
    ++opened;
    return std::make_unique<Socket>(*this, family == AF_INET6 ? Framing::kIcmpv6 : v4Framing, sink);
  }

  bool receive() override {
    while (reading && !incoming_.empty() && incoming_.begin()->first <= now_) {
      const auto node = incoming_.extract(incoming_.begin());
      node.mapped().sink->received(node.mapped().bytes, node.mapped().from, node.key());
    }
    return allRead;
  }

 private:
  struct Packet {
    PacketSink* sink = nullptr;
    std::vector<std::uint8_t> bytes;
    IpAddress from;
  };

  class Socket final : public PacketIo {
   public:
    Socket(FakeNetwork& network, Framing framing, PacketSink& sink)
        : network_(network), framing_(framing), sink_(sink) {}
    ~Socket() override {
      ++network_.closed;
      // What is on its way to a closed socket reaches nobody.
      std::erase_if(network_.incoming_,
                    [this](const auto& packet) { return packet.second.sink == &sink_; });
    }

    [[nodiscard]] Framing framing() const override { return framing_; }
    [[nodiscard]] std::uint16_t identifier() const override { return 0x4711; }
    Sent send(std::span<const Outgoing> batch) override {
      network_.batches.push_back(batch.size());
      for (std::size_t i = 0; i < batch.size(); ++i) {
        const IpAddress to = addressOf(*batch[i].to);
        if (const Sent::Stop stop = network_.onSend(to); stop != Sent::Stop::kNone) {
          return {i, stop, network_.sendError};
        }
        network_.requests.push_back({batch[i].bytes, to, network_.now_, &sink_, framing_});
        const Request request = network_.requests.back();
        network_.onRequest(request);
      }
      return {batch.size(), Sent::Stop::kNone, 0};
    }
    void stampTransmissions(bool on) override { network_.stampings += on ? 1 : -1; }
    [[nodiscard]] std::uint64_t overflowed() const override { return network_.overflowed; }
    [[nodiscard]] bool current() const override { return network_.current; }

   private:
    static IpAddress addressOf(const SocketAddress& address) {
      if (address.storage.ss_family == AF_INET6) {
        sockaddr_in6 v6{};
        std::memcpy(&v6, &address.storage, sizeof v6);
        return IpAddress::of(v6.sin6_addr);
      }
      sockaddr_in v4{};
      std::memcpy(&v4, &address.storage, sizeof v4);
      return IpAddress::of(v4.sin_addr);
    }

    FakeNetwork& network_;
    Framing framing_;
    PacketSink& sink_;
  };

  const Clock::time_point& now_;
  std::multimap<Clock::time_point, Packet> incoming_;
};

}  // namespace Monitor::Icmp::Testing
