#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>

#include "monitor/icmp/PacketIo.h"
#include "monitor/icmp/ReceiveBatch.h"
#include "monitor/icmp/SteadyTime.h"

namespace Monitor::Icmp {

/// A ping socket (ICMP over SOCK_DGRAM, open to the groups in net.ipv4.ping_group_range) or a raw
/// one (open to CAP_NET_RAW).
class KernelSocket final : public PacketIo {
 public:
  /// Opens one for `binding`: a ping socket if the kernel lets us, else a raw one. A raw one gets
  /// `identifier`, a ping socket the kernel's choice.
  [[nodiscard]] static std::variant<std::unique_ptr<KernelSocket>, SocketError> open(
      const Binding& binding, int family, std::uint16_t identifier, PacketSink& sink);

  [[nodiscard]] int fd() const { return fd_.get(); }

  /// Reads everything into the sink; false when it gave up before the end.
  bool receive(ReceiveBatch& batch, SteadyTime& time);

  [[nodiscard]] Framing framing() const override { return framing_; }
  [[nodiscard]] std::uint16_t identifier() const override { return identifier_; }
  Sent send(std::span<const Outgoing> batch) override;
  void stampTransmissions(bool on) override;
  [[nodiscard]] std::uint64_t overflowed() const override;
  [[nodiscard]] bool current() const override;

 private:
  /// Which namespace a name stands for.
  struct NamespaceId {
    dev_t device = 0;
    ino_t inode = 0;
    bool operator==(const NamespaceId&) const = default;
  };

  KernelSocket(UniqueFd fd, const Binding& binding, Framing framing, PacketSink& sink);
  [[nodiscard]] static std::optional<NamespaceId> namespaceId(const Binding& binding);
  /// False with errno.
  [[nodiscard]] bool setUp(bool raw, std::uint16_t identifier);
  [[nodiscard]] bool learnIdentifier();
  bool drain(ReceiveBatch::Source source, ReceiveBatch& batch, SteadyTime& time);
  void handOver(ReceiveBatch::Source source, ReceiveBatch& batch, std::size_t i,
                const SteadyTime& time);
  [[nodiscard]] Sent::Stop classify(int error) const;

  UniqueFd fd_;
  Binding binding_;
  Framing framing_;
  PacketSink& sink_;
  std::uint16_t identifier_ = 0;
  std::optional<NamespaceId> namespace_;
};

}  // namespace Monitor::Icmp
