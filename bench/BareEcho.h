#pragma once

#include <algorithm>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "monitor/icmp/KernelSocket.h"

/// The same echo requests and replies as the prober's, by the same system calls on a socket of the
/// same kind, as many at a time as it takes, and nothing else: what packets cost whoever measures.
class BareEcho final : Monitor::Icmp::PacketSink {
 public:
  explicit BareEcho(const std::vector<std::string>& addresses) {
    for (const std::string& address : addresses) {
      targets_.push_back(Monitor::IpAddress::parse(address)->socketAddress(0));
    }
    auto opened = Monitor::Icmp::KernelSocket::open({}, AF_INET, kIdentifier, *this);
    if (const auto* error = std::get_if<Monitor::SocketError>(&opened)) {
      throw std::runtime_error(error->text);
    }
    socket_ = std::move(std::get<std::unique_ptr<Monitor::Icmp::KernelSocket>>(opened));
  }

  /// Sends `perSecond` requests a second, evenly to all targets, and reads their replies.
  void run(std::chrono::seconds time, int perSecond) {
    using namespace std::chrono_literals;
    constexpr auto kBeat = 2ms;
    const int perBeat = perSecond / static_cast<int>(1s / kBeat);
    auto next = Monitor::Clock::now();
    for (const auto end = next + time; next < end; next += kBeat) {
      std::this_thread::sleep_until(next);
      for (int left = perBeat; left > 0; left -= static_cast<int>(outgoing_.size())) {
        send(std::min(static_cast<std::size_t>(left), Monitor::Icmp::KernelSocket::kMostAtOnce));
      }
      socket_->receive(batch_, time_);
    }
  }

  [[nodiscard]] long sent() const { return sent_; }
  [[nodiscard]] long answered() const { return answered_; }

 private:
  static constexpr std::uint16_t kIdentifier = 0x6265;

  void send(std::size_t count) {
    outgoing_.clear();
    for (; outgoing_.size() < count; ++sent_) {
      const auto n = static_cast<std::size_t>(sent_);
      const Monitor::Icmp::Echo echo{
          socket_->identifier(), static_cast<std::uint16_t>(n), {n, 0, 0}};
      outgoing_.push_back(
          {&targets_[n % targets_.size()], Monitor::Icmp::writeRequest(socket_->framing(), echo)});
    }
    socket_->send(outgoing_);
  }

  void received(std::span<const std::uint8_t> /*bytes*/, const Monitor::IpAddress& /*from*/,
                Monitor::Clock::time_point /*at*/) override {
    ++answered_;
  }
  void transmitted(std::span<const std::uint8_t> /*bytes*/,
                   Monitor::Clock::time_point /*at*/) override {}
  void refused(std::span<const std::uint8_t> /*quotation*/, const std::string& /*text*/) override {}

  std::vector<Monitor::SocketAddress> targets_;
  std::unique_ptr<Monitor::Icmp::KernelSocket> socket_;
  std::vector<Monitor::Icmp::Outgoing> outgoing_;
  Monitor::Icmp::ReceiveBatch batch_;
  Monitor::Icmp::SteadyTime time_;
  long sent_ = 0, answered_ = 0;
};
