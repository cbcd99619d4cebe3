#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "monitor/icmp/PacketIo.h"

namespace Monitor::Icmp {

class Channel;

/// Takes what channels hear.
class ChannelListener {
 public:
  ChannelListener() = default;
  ChannelListener(const ChannelListener&) = delete;
  ChannelListener& operator=(const ChannelListener&) = delete;

  virtual void replied(const Channel& channel, const Echo& echo, const IpAddress& from,
                       Clock::time_point at) = 0;
  /// Something came that is no reply to this socket.
  virtual void garbled() = 0;
  virtual void transmitted(const Channel& channel, const Echo& echo, Clock::time_point at) = 0;
  virtual void refused(const Channel& channel, const Echo& echo, const std::string& text) = 0;

 protected:
  ~ChannelListener() = default;
};

/// One family in one place (VRF, interface): its socket, opened when first needed and again when
/// its place has changed, and who waits to send on it.
class Channel final : private PacketSink {
 public:
  /// Who waits: a ticket that has been withdrawn is not the slot's any more.
  struct Waiting {
    std::uint32_t slot = 0;
    std::uint32_t ticket = 0;
  };

  Channel(Network& network, ChannelListener& listener, Binding binding, int family)
      : network_(network), listener_(listener), binding_(std::move(binding)), family_(family) {}

  [[nodiscard]] bool isFor(const Binding& binding, int family) const {
    return family_ == family && binding_ == binding;
  }

  /// Opens the socket if there is none, or if the one there is has lost its place. Null when there
  /// is one now, else why not. Looks at the place, and tries to open again, once a second at most.
  [[nodiscard]] std::optional<std::string> makeReady(Clock::time_point now, bool stamp);
  /// Closes the socket; the next makeReady() opens another.
  void close() noexcept { io_.reset(); }

  /// Null while there is none.
  [[nodiscard]] PacketIo* io() const noexcept { return io_.get(); }
  /// Grows by one with each socket opened.
  [[nodiscard]] std::uint32_t opening() const noexcept { return opening_; }

  /// Whether the socket may have lost replies since `begin`. When a loss happened is known to the
  /// second only, and doubt says yes.
  [[nodiscard]] bool overflowedSince(Clock::time_point begin, Clock::time_point now);
  /// Packets that this channel's sockets have lost.
  [[nodiscard]] std::uint64_t overflowed() const noexcept { return overflowed_; }

  std::deque<Waiting> queue;

 private:
  void countOverflow(Clock::time_point now);
  void received(std::span<const std::uint8_t> bytes, const IpAddress& from,
                Clock::time_point at) override;
  void transmitted(std::span<const std::uint8_t> bytes, Clock::time_point at) override;
  void refused(std::span<const std::uint8_t> quotation, const std::string& text) override;

  Network& network_;
  ChannelListener& listener_;
  Binding binding_;
  int family_;
  std::unique_ptr<PacketIo> io_;
  std::uint32_t opening_ = 0;
  std::optional<std::string> failure_;  ///< Why the last opening failed.
  Clock::time_point lookedAt_;
  std::uint64_t overflowed_ = 0;
  std::uint64_t overflowedHere_ = 0;  ///< Of them, the present socket's.
  std::optional<Clock::time_point> overflowedAt_;
  std::optional<Clock::time_point> countedAt_;
};

}  // namespace Monitor::Icmp
