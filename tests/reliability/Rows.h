#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Ber.h"

namespace reliability {

/// The objects of the monitor's tables, .1.3.6.1.4.1.61111.3.38.1, and how they are laid out.
inline const bench::Oid kObjects = {1, 3, 6, 1, 4, 1, 61111, 3, 38, 1};
inline constexpr std::size_t kKinds = 3;  ///< ICMP, HTTP, TCP, as their tables follow.
inline constexpr std::uint32_t kFirstColumn = 2;
inline constexpr std::array<std::uint32_t, kKinds> kLastColumn = {11, 7, 9};

/// One probe: the host's number and the kind.
struct Probe {
  std::size_t kind;
  std::size_t host;
};

inline constexpr std::string_view kClient = "lab";
[[nodiscard]] std::string hostName(std::size_t host);
[[nodiscard]] std::string addressOf(std::size_t host);
[[nodiscard]] std::string urlOf(std::size_t host);
inline constexpr std::uint16_t kPort = 443;
/// The index of the probe's row.
[[nodiscard]] std::string keyOf(const Probe& probe);

[[nodiscard]] std::string putLine(const Probe& probe, double milliseconds);
[[nodiscard]] std::string removeLine(const Probe& probe);

/// The order of rows in a walk: RFC 2578, 7.7, of an index that is not IMPLIED.
[[nodiscard]] inline bool before(std::string_view a, std::string_view b) {
  return a.size() != b.size() ? a.size() < b.size() : a < b;
}

/// Which rows a walk must meet, and which others it may.
class Rows {
 public:
  void mustBe(const Probe& probe) { stable_[probe.kind].push_back(keyOf(probe)); }
  void mayBe(const Probe& probe) { changing_[probe.kind].push_back(keyOf(probe)); }
  /// After the last of them.
  void sort();

  /// In the order of a walk.
  [[nodiscard]] const std::vector<std::string>& stable(std::size_t kind) const {
    return stable_[kind];
  }
  [[nodiscard]] bool isChanging(std::size_t kind, std::string_view key) const;

 private:
  std::array<std::vector<std::string>, kKinds> stable_;
  std::array<std::vector<std::string>, kKinds> changing_;
};

/// Every fifth host's probes come and go; the others stay.
[[nodiscard]] inline bool isChanging(std::size_t host) { return host % 5 == 4; }

/// The probes of as many hosts as make `rows` rows, three a host.
[[nodiscard]] std::vector<Probe> probesOf(std::size_t rows);
[[nodiscard]] Rows rowsOf(const std::vector<Probe>& probes);

/// What becomes of the probes that come and go.
class Turnover {
 public:
  /// All of them are there at first.
  Turnover(const std::vector<Probe>& probes, std::uint64_t seed);

  /// The feed line of one more change: an update, a removal, or a return.
  [[nodiscard]] std::string next();
  /// Just the rows that are there after all changes.
  [[nodiscard]] Rows rows() const;
  [[nodiscard]] std::array<std::size_t, 3> counts() const { return counts_; }

 private:
  struct State {
    Probe probe;
    bool present = true;
  };
  std::vector<Probe> stable_;
  std::vector<State> changing_;
  std::mt19937_64 random_;
  std::array<std::size_t, 3> counts_{};  ///< Updates, removals, returns.
};

}  // namespace reliability
