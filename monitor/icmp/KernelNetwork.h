#pragma once

#include <cstdint>

#include "monitor/icmp/KernelSocket.h"

namespace Monitor::Icmp {

/// This machine's network. Its sockets are watched by one descriptor, so that reading costs one
/// system call for all that have nothing.
class KernelNetwork final : public Network {
 public:
  /// `firstIdentifier` is what the first raw socket's requests carry; any number will do, best one
  /// that differs from other programs'.
  explicit KernelNetwork(std::uint16_t firstIdentifier);

  /// Readable when there is something to receive().
  [[nodiscard]] int fd() const { return watch_.get(); }

  [[nodiscard]] Opened open(const Binding& binding, int family, PacketSink& sink) override;
  bool receive() override;

 private:
  UniqueFd watch_;
  std::uint16_t nextIdentifier_;
  ReceiveBatch batch_;
  SteadyTime time_;
};

}  // namespace Monitor::Icmp
