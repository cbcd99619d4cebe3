#pragma once

#include <functional>

#include "ConnectivityMonitor/Status.h"
#include "IntfSnmp/IfMib.h"
#include "Qiv/Dir.h"
#include "agent/feed/FeedStore.h"

namespace Agent {

/// The feed's records in the state store: a StatusDir per client in `clientDir`, made with its
/// first record and gone with its last, and the interfaces' indexes in `ifMib`.
class StoreFeed final : public FeedStore {
 public:
  /// Sets the plug-in's count of a VRF; the plug-in itself is not the store's business.
  using VrfCountIs = std::function<void(const Pomel::String& vrf, std::uint32_t count)>;

  StoreFeed(Qiv::Dir::Ptr clientDir, IntfSnmp::IfMib::Ptr ifMib, VrfCountIs vrfCountIs)
      : clientDir_(std::move(clientDir)),
        ifMib_(std::move(ifMib)),
        vrfCountIs_(std::move(vrfCountIs)) {}

  void ifIndexIs(const Pomel::String& interface, std::uint32_t ifIndex) override;
  bool recordIs(const Pomel::String& client, const ProbeKey& key,
                const Measurements& measured) override;
  void recordDel(const Pomel::String& client, const ProbeKey& key) override;
  [[nodiscard]] Measurements record(const Pomel::String& client,
                                    const ProbeKey& key) const override;
  void vrfCountIs(const Pomel::String& vrf, std::uint32_t count) override {
    vrfCountIs_(vrf, count);
  }

 private:
  [[nodiscard]] ConnectivityMonitor::StatusDir::Ptr statusDir(const Pomel::String& client) const;
  [[nodiscard]] ConnectivityMonitor::StatusDir::Ptr statusDirIs(const Pomel::String& client);

  Qiv::Dir::Ptr clientDir_;
  IntfSnmp::IfMib::Ptr ifMib_;
  VrfCountIs vrfCountIs_;
};

}  // namespace Agent
