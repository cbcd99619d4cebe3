#include "monitor/icmp/SocketFilter.h"

#include <linux/filter.h>
#include <linux/icmp.h>
#include <netinet/icmp6.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>

namespace Monitor::Icmp {

namespace {

constexpr std::uint32_t kWhole = 0xffff;
constexpr std::uint32_t kNothing = 0;

/// Keeps the other types away before a packet is even copied for us.
bool passReplyTypeOnly(int socket, int family) {
  if (family == AF_INET6) {
    icmp6_filter filter{};
    ICMP6_FILTER_SETBLOCKALL(&filter);
    ICMP6_FILTER_SETPASS(ICMP6_ECHO_REPLY, &filter);
    return setsockopt(socket, IPPROTO_ICMPV6, ICMP6_FILTER, &filter, sizeof filter) == 0;
  }
  icmp_filter filter{};
  filter.data = ~(std::uint32_t{1} << ICMP_ECHOREPLY);
  return setsockopt(socket, SOL_RAW, ICMP_FILTER, &filter, sizeof filter) == 0;
}

template <std::size_t kLength>
bool attach(int socket, std::array<sock_filter, kLength>& code) {
  const sock_fprog program{kLength, code.data()};
  return setsockopt(socket, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) == 0;
}

}  // namespace

bool attachReplyFilter(int socket, int family, std::uint16_t identifier) {
  if (!passReplyTypeOnly(socket, family)) {
    return false;
  }
  constexpr std::uint32_t kIdentifierAt = 4;
  if (family == AF_INET6) {  // the packet begins with the ICMP header
    std::array<sock_filter, 4> code{{{BPF_LD | BPF_H | BPF_ABS, 0, 0, kIdentifierAt},
                                     {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, identifier},
                                     {BPF_RET | BPF_K, 0, 0, kWhole},
                                     {BPF_RET | BPF_K, 0, 0, kNothing}}};
    return attach(socket, code);
  }
  // X = length of the IP header that the packet begins with
  std::array<sock_filter, 5> code{{{BPF_LDX | BPF_B | BPF_MSH, 0, 0, 0},
                                   {BPF_LD | BPF_H | BPF_IND, 0, 0, kIdentifierAt},
                                   {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, identifier},
                                   {BPF_RET | BPF_K, 0, 0, kWhole},
                                   {BPF_RET | BPF_K, 0, 0, kNothing}}};
  return attach(socket, code);
}

}  // namespace Monitor::Icmp
