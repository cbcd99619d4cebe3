#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>

#include "Lintu/IpGenAddr.h"
#include "Pomel/String.h"

namespace ConnectivityMonitor {

/// Bound of a VRF's name, in bytes.
inline constexpr std::size_t kMaxVrfName = 100;

/// A monitored host in a VRF.
class HostNameVrfKey {
 public:
  HostNameVrfKey() = default;
  /// Throws Qiv::RangeError when the VRF's name is longer than kMaxVrfName.
  HostNameVrfKey(Pomel::String hostName, Pomel::String vrfName);

  [[nodiscard]] const Pomel::String& hostName() const noexcept { return hostName_; }
  [[nodiscard]] const Pomel::String& vrfName() const noexcept { return vrfName_; }
  [[nodiscard]] std::uint64_t hash(std::uint64_t seed) const noexcept {
    return vrfName_.hash(hostName_.hash(seed));
  }
  friend bool operator==(const HostNameVrfKey&, const HostNameVrfKey&) = default;
  friend std::strong_ordering operator<=>(const HostNameVrfKey&, const HostNameVrfKey&) = default;

 private:
  Pomel::String hostName_;
  Pomel::String vrfName_;
};

/// An ICMP probe of a host: through which interface (empty: none named), to which address.
struct IcmpStatsKey {
  Pomel::String intfName;
  Lintu::IpGenAddr ipAddr;

  [[nodiscard]] std::uint64_t hash(std::uint64_t seed) const noexcept {
    return ipAddr.hash(intfName.hash(seed));
  }
  friend bool operator==(const IcmpStatsKey&, const IcmpStatsKey&) = default;
  friend std::strong_ordering operator<=>(const IcmpStatsKey&, const IcmpStatsKey&) = default;
};

/// An HTTP probe of a host.
struct HttpStatsKey {
  Pomel::String intfName;
  Pomel::String url;

  [[nodiscard]] std::uint64_t hash(std::uint64_t seed) const noexcept {
    return url.hash(intfName.hash(seed));
  }
  friend bool operator==(const HttpStatsKey&, const HttpStatsKey&) = default;
  friend std::strong_ordering operator<=>(const HttpStatsKey&, const HttpStatsKey&) = default;
};

/// A TCP probe of a host.
struct TcpStatsKey {
  Pomel::String intfName;
  std::uint16_t port = 0;
  Lintu::IpGenAddr ipAddr;

  [[nodiscard]] std::uint64_t hash(std::uint64_t seed) const noexcept {
    return ipAddr.hash(Pomel::hashMix(intfName.hash(seed), port));
  }
  friend bool operator==(const TcpStatsKey&, const TcpStatsKey&) = default;
  friend std::strong_ordering operator<=>(const TcpStatsKey&, const TcpStatsKey&) = default;
};

/// Text forms: the fields in order (Qiv/FieldText.h), for example `eth1,443,192.0.2.1`.
std::ostream& operator<<(std::ostream& out, const HostNameVrfKey& key);
std::ostream& operator<<(std::ostream& out, const IcmpStatsKey& key);
std::ostream& operator<<(std::ostream& out, const HttpStatsKey& key);
std::ostream& operator<<(std::ostream& out, const TcpStatsKey& key);

/// Read a key back from the fields of its text form, in order (two; three for TCP). Throw
/// std::invalid_argument, naming the field, when one does not fit, and Qiv::RangeError for a VRF's
/// name that is too long.
void readFields(std::span<const std::string> fields, HostNameVrfKey& key);
void readFields(std::span<const std::string> fields, IcmpStatsKey& key);
void readFields(std::span<const std::string> fields, HttpStatsKey& key);
void readFields(std::span<const std::string> fields, TcpStatsKey& key);

}  // namespace ConnectivityMonitor
