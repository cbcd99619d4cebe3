#pragma once

#include <cstdint>

namespace Monitor::Icmp {

/// Has the kernel hand this raw ICMP socket echo replies with our identifier only. A raw socket is
/// given a copy of every ICMP packet otherwise, our own requests over loopback among them. Returns
/// false with errno when the kernel will not.
[[nodiscard]] bool attachReplyFilter(int socket, int family, std::uint16_t identifier);

}  // namespace Monitor::Icmp
