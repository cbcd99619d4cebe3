#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "agent/feed/FeedStore.h"

namespace Agent::Testing {

inline std::string text(const Target& target) {
  if (const auto* icmp = std::get_if<IcmpTarget>(&target)) {
    return icmp->address.stringValue();
  }
  if (const auto* tcp = std::get_if<TcpTarget>(&target)) {
    return tcp->address.stringValue() + '|' + std::to_string(tcp->port);
  }
  return std::get<HttpTarget>(target).url.stdString();
}

/// A store with a plain model of the plug-in behind it: what rows show, what the counts are, and
/// which of its rules were broken. Notes every call.
class PipelineModel final : public FeedStore {
 public:
  using RecordId = std::tuple<std::string, std::string, std::string, std::string, std::size_t,
                              std::string>;  // client, VRF, host, interface, kind, target
  using RowId = std::tuple<std::string, std::size_t, std::string>;  // VRF, table, name
  struct Row {
    RecordId record;
    float latency;
    friend auto operator<=>(const Row&, const Row&) = default;
  };

  void ifIndexIs(const Pomel::String& interface, std::uint32_t ifIndex) override {
    calls.push_back(fmt::format("index {} {}", interface.view(), ifIndex));
    for (const auto& [id, entry] : records) {
      EXPECT_NE(std::get<3>(id), interface.stdString()) << "an index moved under a record";
    }
    ifIndexes[interface.stdString()] = ifIndex;
  }

  bool recordIs(const Pomel::String& client, const ProbeKey& key,
                const Measurements& measured) override {
    calls.push_back(
        fmt::format("put {} {} {}", client.view(), key.at.host.view(), measured.latency));
    const auto [at, made] = records.try_emplace(idOf(client, key), measured);
    if (!made && at->second == measured) {
      return false;
    }
    at->second = measured;
    event(client, key);
    return true;
  }

  void recordDel(const Pomel::String& client, const ProbeKey& key) override {
    calls.push_back(fmt::format("del {} {}", client.view(), key.at.host.view()));
    EXPECT_EQ(records.erase(idOf(client, key)), 1U);
    event(client, key);
  }

  [[nodiscard]] Measurements record(const Pomel::String& client,
                                    const ProbeKey& key) const override {
    return records.at(idOf(client, key));
  }

  void vrfCountIs(const Pomel::String& vrf, std::uint32_t count) override {
    calls.push_back(fmt::format("count {} {}", vrf.view(), count));
    EXPECT_TRUE(counts.contains(vrf.stdString()));
    counts[vrf.stdString()] = count;
  }

  static RecordId idOf(const Pomel::String& client, const ProbeKey& key) {
    return {client.stdString(),        key.at.vrf.stdString(), key.at.host.stdString(),
            key.interface.stdString(), key.target.index(),     text(key.target)};
  }

  /// The row a record would have now; absent while its interface has no index.
  [[nodiscard]] std::optional<RowId> rowOf(const RecordId& id) const {
    const auto& [client, vrf, host, interface, kind, target] = id;
    std::uint32_t ifIndex = 0;
    if (!interface.empty()) {
      const auto at = ifIndexes.find(interface);
      if (at == ifIndexes.end()) {
        return std::nullopt;
      }
      ifIndex = at->second;
    }
    std::string name = client + host + target + std::to_string(ifIndex);
    std::erase(name, '|');
    return RowId{vrf, kind, name};
  }

  std::map<RecordId, Measurements> records;
  std::map<std::string, std::uint32_t> ifIndexes;
  std::map<RowId, Row> rows;
  std::map<std::string, std::uint32_t> counts;
  std::vector<std::string> calls;

 private:
  void event(const Pomel::String& client, const ProbeKey& key) {
    const RecordId id = idOf(client, key);
    const auto row = rowOf(id);
    if (!row) {
      return;
    }
    const std::string vrf = key.at.vrf.stdString();
    const auto present = records.find(id);
    if (present != records.end()) {
      ++counts[vrf];
      rows.insert_or_assign(*row, Row{id, present->second.latency});
      return;
    }
    ASSERT_TRUE(counts.contains(vrf)) << "a count of zero went down";
    if (--counts[vrf] == 0) {
      counts.erase(vrf);
    }
    rows.erase(*row);
  }
};

inline ProbeKey icmp(const char* host, const char* interface, const char* address,
                     const char* vrf = "default") {
  return {{host, vrf}, interface, IcmpTarget{*Lintu::IpGenAddr::parse(address)}};
}

inline ProbeKey tcp(const char* host, const char* interface, const char* address,
                    std::uint16_t port, const char* vrf = "default") {
  return {{host, vrf}, interface, TcpTarget{*Lintu::IpGenAddr::parse(address), port}};
}

inline ProbeKey http(const char* host, const char* interface, const char* url,
                     const char* vrf = "default") {
  return {{host, vrf}, interface, HttpTarget{url}};
}

inline Measurements latency(float milliseconds) {
  Measurements measured;
  measured.latency = milliseconds;
  return measured;
}

}  // namespace Agent::Testing
