#include "bench/FarEnd.h"

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <netinet/ip.h>
#include <netinet/ip_icmp.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

#include "monitor/net/UniqueFd.h"

namespace {

[[noreturn]] void giveUp(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

void shell(const char* command) {
  if (std::system(command) != 0) {
    throw std::runtime_error(std::string("failed: ") + command);
  }
}

/// Makes an echo request its reply; false when `packet` is none. Addresses that change places leave
/// the IP header's checksum as it is, and the ICMP one grows by what the type shrinks (RFC 1624).
bool turnAround(std::span<std::uint8_t> packet) {
  constexpr std::size_t kHeader = 20;
  if (packet.size() < kHeader + ICMP_MINLEN || packet[0] != 0x45 || packet[9] != IPPROTO_ICMP ||
      packet[kHeader] != ICMP_ECHO) {
    return false;
  }
  std::swap_ranges(&packet[12], &packet[16], &packet[16]);
  packet[kHeader] = ICMP_ECHOREPLY;
  std::uint32_t sum = static_cast<std::uint32_t>(packet[kHeader + 2] << 8 | packet[kHeader + 3]);
  sum += std::uint32_t{ICMP_ECHO} << 8;
  sum = (sum & 0xffff) + (sum >> 16);
  packet[kHeader + 2] = static_cast<std::uint8_t>(sum >> 8);
  packet[kHeader + 3] = static_cast<std::uint8_t>(sum);
  return true;
}

[[noreturn]] void answer(int tun) {
  std::array<std::uint8_t, 2048> buffer;
  for (;;) {
    const ssize_t size = ::read(tun, buffer.data(), buffer.size());
    if (size < 0 && errno != EINTR) {
      _exit(1);
    }
    const auto packet =
        std::span(buffer).first(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    // One that finds no room shows as a loss.
    if (turnAround(packet) && ::write(tun, packet.data(), packet.size()) < 0) {
      continue;
    }
  }
}

void stayOn(std::size_t processor) {
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(processor, &one);
  if (::sched_setaffinity(0, sizeof one, &one) != 0) {
    giveUp("sched_setaffinity");
  }
}

/// The first and the last of the processors that this thread may run on.
std::pair<std::size_t, std::size_t> twoProcessors() {
  cpu_set_t all;
  if (::sched_getaffinity(0, sizeof all, &all) != 0) {
    giveUp("sched_getaffinity");
  }
  std::size_t first = 0;
  while (CPU_ISSET(first, &all) == 0) {
    ++first;
  }
  std::size_t last = CPU_SETSIZE - 1;
  while (CPU_ISSET(last, &all) == 0) {
    --last;
  }
  return {first, last};
}

}  // namespace

FarEnd::FarEnd() {
  if (::unshare(CLONE_NEWNET) != 0) {
    giveUp("a network namespace");
  }
  const Monitor::UniqueFd tun(::open("/dev/net/tun", O_RDWR | O_CLOEXEC));
  if (!tun) {
    giveUp("/dev/net/tun");
  }
  ifreq request{};
  request.ifr_flags = IFF_TUN | IFF_NO_PI;
  std::strncpy(request.ifr_name, "far0", IFNAMSIZ - 1);
  if (::ioctl(tun.get(), TUNSETIFF, &request) != 0) {
    giveUp("TUNSETIFF");
  }
  shell(
      "ip link set lo up && ip link set far0 up txqueuelen 20000 && "
      "ip addr add 192.0.2.1/32 dev far0 && ip route add 10.0.0.0/8 dev far0 src 192.0.2.1");
  const auto [ours, theirs] = twoProcessors();
  stayOn(ours);
  responder_ = ::fork();
  if (responder_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    stayOn(theirs);
    answer(tun.get());
  }
  if (responder_ < 0) {
    giveUp("fork");
  }
}

FarEnd::~FarEnd() {
  ::kill(responder_, SIGKILL);
  ::waitpid(responder_, nullptr, 0);
}

double FarEnd::cpuSeconds() const {
  std::ifstream file("/proc/" + std::to_string(responder_) + "/schedstat");
  double nanoseconds = 0;
  file >> nanoseconds;
  return nanoseconds * 1e-9;
}
