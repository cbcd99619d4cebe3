// What a feed world compares, and when.
#include <fmt/format.h>

#include <algorithm>

#include "Difference.h"
#include "FeedWorld.h"
#include "Shown.h"

namespace Model {

/// Brings the reference to the last change that was applied as a whole.
void FeedWorld::follow() {
  const std::uint64_t begun = queue_.accepted() - queue_.waiting();
  // While records are withdrawn nothing counts as applied, but then no change is under way.
  const std::uint64_t upTo = queue_.appliedUpTo();
  const std::uint64_t target = upTo + 1 == begun ? upTo : begun;
  for (; followed_ < target; ++followed_) {
    require(!ahead_.empty(), "more was applied than was accepted");
    applied_.apply(ahead_.front());
    ahead_.pop_front();
  }
}

Counts FeedWorld::countsShown() const {
  Counts all;
  for (const auto& [vrf, count] : pluginAgent()->vrfRefCount()->vrfRefCount()) {
    all[vrf.stdString()] = count;
  }
  return all;
}

namespace {

template <class Sm>
std::map<std::string, std::size_t> backlogOf(const Sm& machine) {
  std::map<std::string, std::size_t> all;
  for (const auto& [interface, set] : machine.localAttrStore()->intfToStatsBacklog()) {
    all[interface.stringValue().stdString()] = set->infos().size();
  }
  return all;
}

}  // namespace

void FeedWorld::compareAll() {
  ++figures_.looks;
  const Shown is = shown(*inputs_.conMonMibRoot);
  const Rows expected = applied_.rows();
  compareRows(is.rows, expected);
  figures_.rowsCompared += expected.size();
  require(is.contexts == applied_.contexts(), "other VRFs are served");
  const Counts counts = countsShown();
  if (counts != applied_.counts()) {
    std::string both;
    for (const auto& [vrf, count] : applied_.counts()) {
      both += fmt::format(" {}: {} for {}", vrf, counts.contains(vrf) ? counts.at(vrf) : 0, count);
    }
    throw Difference("VRFs are counted otherwise:" + both);
  }
  require(book_->ledger().size() == applied_.records(), "another number of records");
  const auto& agent = *pluginAgent();
  require(backlogOf(*agent.connectivityMonitorTableIcmpSm()) == applied_.waiting(Kind::kIcmp) &&
              backlogOf(*agent.connectivityMonitorTableHttpSm()) == applied_.waiting(Kind::kHttp) &&
              backlogOf(*agent.connectivityMonitorTableTcpSm()) == applied_.waiting(Kind::kTcp),
          "other records wait for an interface's index");
}

void FeedWorld::compareMidWay(const Reference& before, const Reference& after,
                              const Reference& untouched) {
  const Shown is = shown(*inputs_.conMonMibRoot);
  const auto old = before.candidates();
  const auto coming = after.candidates();
  const auto isOneOf = [](const auto& all, const RowId& id, const Row& row) {
    const auto at = all.find(id);
    return at != all.end() && std::ranges::find(at->second, row) != at->second.end();
  };
  std::map<std::string, std::uint32_t> rows;
  for (const auto& [id, row] : is.rows) {
    ++rows[id.vrf];
    if (!isOneOf(old, id, row) && !isOneOf(coming, id, row)) {
      throw Difference("mid-way, " + describe(id) + " is of no record");
    }
  }
  for (const auto& [id, row] : untouched.rows()) {
    if (!is.rows.contains(id)) {
      throw Difference("mid-way, " + describe(id) + " is missing");
    }
  }
  figures_.rowsCompared += is.rows.size();
  const Counts counts = countsShown();
  for (const auto& [vrf, number] : rows) {
    if (!counts.contains(vrf)) {
      throw Difference(fmt::format("mid-way, VRF {} has rows and no count", vrf));
    }
  }
  for (const auto& [vrf, count] : counts) {
    require(is.contexts.contains(vrf), "mid-way, a VRF is counted and not served");
  }
  for (const std::string& vrf : is.contexts) {
    require(counts.contains(vrf) || before.contexts().contains(vrf),
            "mid-way, a VRF is served and not counted");
  }
}

void FeedWorld::compareClients() const {
  std::map<std::string, unsigned> connected;
  for (const auto& [name, client] : registry_.clients()) {
    connected[name.stdString()] = client.connections;
    const auto at = presences_.find(name.stdString());
    require(at != presences_.end() && at->second.expiry == client.expiry,
            "a client's hold time ends at another moment");
  }
  for (const auto& [name, presence] : presences_) {
    require(connected[name] == presence.connections, "a client has other connections");
  }
}

}  // namespace Model
