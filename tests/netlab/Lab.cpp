#include "Lab.h"

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace Netlab {

namespace {

void shell(const std::string& command) {
  if (std::system(command.c_str()) != 0) {
    throw std::runtime_error("failed: " + command);
  }
}

[[noreturn]] void giveUp(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

/// Makes a TUN device named lab0 in the namespace; packets are read from and written to the result.
Monitor::UniqueFd makeTun(const Namespace& where) {
  Monitor::UniqueFd tun(::open("/dev/net/tun", O_RDWR | O_CLOEXEC | O_NONBLOCK));
  if (!tun) {
    giveUp("/dev/net/tun");
  }
  ifreq request{};
  request.ifr_flags = IFF_TUN | IFF_NO_PI;
  std::strncpy(request.ifr_name, "lab%d", IFNAMSIZ - 1);
  if (::ioctl(tun.get(), TUNSETIFF, &request) != 0) {
    giveUp("TUNSETIFF");
  }
  shell(std::string("ip link set ") + request.ifr_name + " netns " + where.name() + " name lab0");
  where.run("ip link set lab0 up txqueuelen 10000");
  return tun;
}

}  // namespace

Namespace::Namespace(std::string name) : name_(std::move(name)) {
  shell("ip netns add " + name_);
  run("ip link set lo up");
}

Namespace::~Namespace() {
  if (std::system(("ip netns del " + name_).c_str()) != 0) {
    std::fprintf(stderr, "the network namespace %s stays behind\n", name_.c_str());
  }
}

void Namespace::run(const std::string& command) const {
  shell("ip netns exec " + name_ + " sh -c '" + command + "'");
}

Lab::Lab(const std::string& name, std::uint32_t seed) : near_(name), far_(name + "-far") {
  Monitor::UniqueFd near = makeTun(near_);
  Monitor::UniqueFd far = makeTun(far_);
  near_.run(
      "ip addr add 10.98.0.1/32 dev lab0 && ip addr add fd98::1/128 dev lab0 nodad &&"
      "ip route add 10.99.0.0/16 dev lab0 src 10.98.0.1 &&"
      "ip route add 10.97.0.0/16 dev lab0 src 10.98.0.1 &&"
      "ip route add fd99::/64 dev lab0 src fd98::1 && ip route add fd97::/64 dev lab0 src fd98::1");
  far_.run(
      "ip addr add 10.99.0.1/32 dev lab0 && ip addr add fd99::1/128 dev lab0 nodad &&"
      "ip route add 10.98.0.1 dev lab0 src 10.99.0.1 && ip route add fd98::1 dev lab0 src fd99::1 "
      "&&"
      "ip route add local 10.99.0.0/16 dev lo && ip route add local fd99::/64 dev lo &&"
      "ip route add unreachable 10.97.0.0/16 && ip route add unreachable fd97::/64 &&"
      // Only who forwards says that it has no route, and by default seldom.
      "echo 1 > /proc/sys/net/ipv4/ip_forward && echo 1 > /proc/sys/net/ipv6/conf/all/forwarding &&"
      "echo 0 > /proc/sys/net/ipv4/icmp_ratelimit && echo 0 > /proc/sys/net/ipv6/icmp/ratelimit");
  wire_ = std::make_unique<Wire>(std::move(near), std::move(far), seed);
}

std::string uniqueName() {
  static int count = 0;
  return "lab-" + std::to_string(::getpid()) + "-" + std::to_string(++count);
}

}  // namespace Netlab
