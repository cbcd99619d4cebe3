#include "Lintu/IpGenAddr.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <ostream>

#include "Pomel/Hash.h"

namespace Lintu {

IpGenAddr IpGenAddr::ipv4(const std::array<std::uint8_t, 4>& octets) {
  IpGenAddr addr;
  addr.family_ = Family::kIpv4;
  std::copy(octets.begin(), octets.end(), addr.octets_.begin());
  return addr;
}

IpGenAddr IpGenAddr::ipv6(const std::array<std::uint8_t, 16>& octets) {
  IpGenAddr addr;
  addr.family_ = Family::kIpv6;
  addr.octets_ = octets;
  return addr;
}

std::optional<IpGenAddr> IpGenAddr::parse(std::string_view text) {
  TextBuffer buffer{};
  if (text.empty() || text.size() >= buffer.size() || text.find('\0') != std::string_view::npos) {
    return std::nullopt;
  }
  std::copy(text.begin(), text.end(), buffer.begin());
  std::array<std::uint8_t, 16> octets{};
  if (inet_pton(AF_INET, buffer.data(), octets.data()) == 1) {
    return ipv4({octets[0], octets[1], octets[2], octets[3]});
  }
  if (inet_pton(AF_INET6, buffer.data(), octets.data()) == 1) {
    return ipv6(octets);
  }
  return std::nullopt;
}

std::string_view IpGenAddr::octets() const noexcept {
  const std::size_t size = family_ == Family::kIpv4 ? 4 : family_ == Family::kIpv6 ? 16 : 0;
  return {reinterpret_cast<const char*>(octets_.data()), size};
}

std::string_view IpGenAddr::text(TextBuffer& buffer) const {
  if (family_ == Family::kIpv6) {
    return inet_ntop(AF_INET6, octets_.data(), buffer.data(),
                     static_cast<socklen_t>(buffer.size()));
  }
  char* at = buffer.data();
  if (family_ == Family::kIpv4) {
    for (std::size_t part = 0; part < 4; ++part) {
      if (part != 0) {
        *at++ = '.';
      }
      at = std::to_chars(at, buffer.data() + buffer.size(), octets_[part]).ptr;
    }
  }
  return {buffer.data(), static_cast<std::size_t>(at - buffer.data())};
}

std::string IpGenAddr::stringValue() const {
  TextBuffer buffer;
  return std::string(text(buffer));
}

std::uint64_t IpGenAddr::hash(std::uint64_t seed) const noexcept {
  return Pomel::hashBytes(Pomel::hashMix(seed, static_cast<std::uint64_t>(family_)), octets());
}

std::ostream& operator<<(std::ostream& out, const IpGenAddr& addr) {
  IpGenAddr::TextBuffer buffer;
  return out << addr.text(buffer);
}

}  // namespace Lintu
