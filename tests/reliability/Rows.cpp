#include "Rows.h"

#include <fmt/format.h>

#include <algorithm>

namespace reliability {

namespace {

constexpr std::array<std::string_view, kKinds> kNames = {"icmp", "http", "tcp"};

std::string fieldsOf(const Probe& probe) {
  const std::string common =
      fmt::format(R"("host":"{}","probe":"{}")", hostName(probe.host), kNames[probe.kind]);
  switch (probe.kind) {
    case 0:
      return fmt::format(R"({},"address":"{}")", common, addressOf(probe.host));
    case 1:
      return fmt::format(R"({},"url":"{}")", common, urlOf(probe.host));
    default:
      return fmt::format(R"({},"address":"{}","port":{})", common, addressOf(probe.host), kPort);
  }
}

}  // namespace

std::string hostName(std::size_t host) { return fmt::format("h{}", host); }

std::string addressOf(std::size_t host) {
  return fmt::format("10.{}.{}.{}", host >> 16 & 255, host >> 8 & 255, host & 255);
}

std::string urlOf(std::size_t host) { return fmt::format("http://{}/", hostName(host)); }

std::string keyOf(const Probe& probe) {
  // No probe here is bound to an interface: the index ends in 0.
  const std::string head = fmt::format("{}{}", kClient, hostName(probe.host));
  switch (probe.kind) {
    case 0:
      return fmt::format("{}{}0", head, addressOf(probe.host));
    case 1:
      return fmt::format("{}{}0", head, urlOf(probe.host));
    default:
      return fmt::format("{}{}{}0", head, addressOf(probe.host), kPort);
  }
}

std::string putLine(const Probe& probe, double milliseconds) {
  return fmt::format(R"({{"op":"put",{},"{}":{}}})", fieldsOf(probe),
                     probe.kind == 1 ? "responseTime" : "latency", milliseconds);
}

std::string removeLine(const Probe& probe) {
  return fmt::format(R"({{"op":"remove",{}}})", fieldsOf(probe));
}

void Rows::sort() {
  for (auto* keys : {&stable_, &changing_}) {
    for (std::vector<std::string>& ofKind : *keys) {
      std::ranges::sort(ofKind, before);
    }
  }
}

bool Rows::isChanging(std::size_t kind, std::string_view key) const {
  return std::ranges::binary_search(changing_[kind], key, before);
}

std::vector<Probe> probesOf(std::size_t rows) {
  std::vector<Probe> probes;
  probes.reserve(rows);
  for (std::size_t host = 0; probes.size() + kKinds <= rows; ++host) {
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
      probes.push_back({kind, host});
    }
  }
  return probes;
}

Rows rowsOf(const std::vector<Probe>& probes) {
  Rows rows;
  for (const Probe& probe : probes) {
    isChanging(probe.host) ? rows.mayBe(probe) : rows.mustBe(probe);
  }
  rows.sort();
  return rows;
}

Turnover::Turnover(const std::vector<Probe>& probes, std::uint64_t seed) : random_(seed) {
  for (const Probe& probe : probes) {
    if (isChanging(probe.host)) {
      changing_.push_back({probe});
    } else {
      stable_.push_back(probe);
    }
  }
}

std::string Turnover::next() {
  State& state = changing_[random_() % changing_.size()];
  const double milliseconds = static_cast<double>(random_() % 100'000 + 1) / 1000;
  if (state.present && random_() % 3 == 0) {
    state.present = false;
    ++counts_[1];
    return removeLine(state.probe);
  }
  ++counts_[state.present ? 0 : 2];
  state.present = true;
  return putLine(state.probe, milliseconds);
}

Rows Turnover::rows() const {
  Rows rows;
  std::ranges::for_each(stable_, [&](const Probe& probe) { rows.mustBe(probe); });
  for (const State& state : changing_) {
    if (state.present) {
      rows.mustBe(state.probe);
    }
  }
  rows.sort();
  return rows;
}

}  // namespace reliability
