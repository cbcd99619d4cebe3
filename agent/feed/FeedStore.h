#pragma once

#include <cstdint>
#include <string_view>

#include "agent/feed/Operation.h"

namespace Agent {

/// The state store as the feed writes it. Every call takes effect, rows included, before it
/// returns. Callers keep the plug-in's rules: an interface's index is set only while no record is
/// bound to it, and nothing is written before the table state machines are ready.
class FeedStore {
 public:
  virtual ~FeedStore() = default;

  virtual void ifIndexIs(const Pomel::String& interface, std::uint32_t ifIndex) = 0;

  /// Enters a record, in place of the one there. False when an equal one was there: nothing
  /// happened.
  virtual bool recordIs(const Pomel::String& client, const ProbeKey& key,
                        const Measurements& measured) = 0;
  /// Precondition, here and below: the record is there.
  virtual void recordDel(const Pomel::String& client, const ProbeKey& key) = 0;
  [[nodiscard]] virtual Measurements record(const Pomel::String& client,
                                            const ProbeKey& key) const = 0;

  /// Sets the plug-in's count of a VRF's events. Precondition: the plug-in counts the VRF.
  virtual void vrfCountIs(const Pomel::String& vrf, std::uint32_t count) = 0;
};

}  // namespace Agent
