#include "Reference.h"

#include <algorithm>

namespace Model {

namespace {

constexpr const char* kDefaultVrf = "default";

Row rowFor(const RecordId& id, const Measured& measured, std::uint32_t ifIndex) {
  Row row{id.client, id.host, id.target, id.port, ifIndex, measured.time, 0, 0};
  if (id.kind == Kind::kIcmp) {
    row.jitter = measured.jitter;
    row.loss = measured.loss;
  }
  return row;
}

}  // namespace

std::string rowName(const RecordId& id, std::uint32_t ifIndex) {
  return id.client + id.host + id.target + (id.kind == Kind::kTcp ? std::to_string(id.port) : "") +
         std::to_string(ifIndex);
}

void Reference::apply(const Change& made) {
  std::visit([&](const auto& what) { change(made.client, what); }, made.what);
}

void Reference::agentReplaced() {
  for (const auto& [id, entry] : records_) {
    if (indexOf(id)) {
      countDown(id.vrf);
    }
  }
  counts_.clear();
  Counts published;
  for (const auto& [id, entry] : records_) {
    if (indexOf(id)) {
      countUp(id.vrf, ++published[id.vrf]);
    } else {
      cleanUp(id.vrf);
    }
  }
}

bool Reference::sets(const std::string& client, const SetInterface& set) const {
  const auto by = setBy_.find(set.name);
  return !(client.empty() && by != setBy_.end() && !by->second.empty());
}

void Reference::change(const std::string& client, const SetInterface& set) {
  if (!sets(client, set)) {
    return;
  }
  setBy_[set.name] = client;
  const auto present = ifIndexes_.find(set.name);
  if (present != ifIndexes_.end() && present->second == set.ifIndex) {
    return;
  }
  // All records of the interface are withdrawn, then published one by one.
  Counts published;
  for (const auto& [id, entry] : records_) {
    if (id.interface != set.name) {
      continue;
    }
    published.try_emplace(id.vrf, indexedIn(id.vrf));
    if (indexOf(id)) {
      --published[id.vrf];
      countDown(id.vrf);
    }
  }
  ifIndexes_[set.name] = set.ifIndex;
  for (const auto& [id, entry] : records_) {
    if (id.interface == set.name) {
      countUp(id.vrf, ++published[id.vrf]);
    }
  }
}

void Reference::change(const std::string& client, const Put& put) {
  RecordId id = put.id;
  id.client = client;
  const auto [at, made] = records_.try_emplace(id);
  const bool changed = made || !(at->second.measured == put.measured);
  at->second = {put.measured, ++turns_};
  if (changed && indexOf(id)) {
    countUp(id.vrf, indexedIn(id.vrf));
  } else if (changed) {
    cleanUp(id.vrf);
  }
}

template <class Condition>
void Reference::removeIf(const Condition& condition) {
  std::erase_if(records_, [&](const auto& entry) {
    const bool goes = condition(entry.first);
    if (goes && indexOf(entry.first)) {
      countDown(entry.first.vrf);
    } else if (goes) {
      cleanUp(entry.first.vrf);
    }
    return goes;
  });
}

void Reference::change(const std::string& client, const Remove& remove) {
  RecordId gone = remove.id;
  gone.client = client;
  removeIf([&](const RecordId& id) { return id == gone; });
}

void Reference::change(const std::string& client, const RemoveHost& remove) {
  removeIf([&](const RecordId& id) {
    return id.client == client && id.vrf == remove.vrf && id.host == remove.host;
  });
}

void Reference::change(const std::string& client, const RemoveClient& /*remove*/) {
  removeIf([&](const RecordId& id) { return id.client == client; });
}

std::optional<std::uint32_t> Reference::indexOf(const RecordId& id) const {
  if (id.interface.empty()) {
    return 0;
  }
  const auto at = ifIndexes_.find(id.interface);
  return at == ifIndexes_.end() ? std::nullopt : std::optional(at->second);
}

std::optional<RowId> Reference::rowOf(const RecordId& id) const {
  const auto ifIndex = indexOf(id);
  return ifIndex ? std::optional(RowId{id.vrf, id.kind, rowName(id, *ifIndex)}) : std::nullopt;
}

Rows Reference::rows() const {
  Rows rows;
  std::map<RowId, std::uint64_t> latest;
  for (const auto& [id, entry] : records_) {
    const auto row = rowOf(id);
    if (row && latest[*row] < entry.turn) {
      latest[*row] = entry.turn;
      rows[*row] = rowFor(id, entry.measured, *indexOf(id));
    }
  }
  return rows;
}

std::map<RowId, std::vector<Row>> Reference::candidates() const {
  std::map<RowId, std::vector<Row>> all;
  for (const auto& [id, entry] : records_) {
    if (const auto row = rowOf(id)) {
      all[*row].push_back(rowFor(id, entry.measured, *indexOf(id)));
    }
  }
  return all;
}

std::map<std::string, std::size_t> Reference::waiting(Kind kind) const {
  std::map<std::string, std::size_t> all;
  for (const auto& [id, entry] : records_) {
    if (id.kind == kind && !indexOf(id)) {
      ++all[id.interface];
    }
  }
  return all;
}

Reference Reference::without(const Change& made) const {
  Reference rest = *this;
  if (const auto* set = std::get_if<SetInterface>(&made.what)) {
    if (rest.sets(made.client, *set)) {
      rest.removeIf([&](const RecordId& id) { return id.interface == set->name; });
    }
  } else if (!std::holds_alternative<Put>(made.what)) {
    rest.apply(made);
  }
  return rest;
}

void Reference::countUp(const std::string& vrf, std::uint32_t indexedNow) {
  served_.insert(vrf);
  std::uint32_t& count = counts_[vrf];
  if (++count >= ceiling_) {
    count = indexedNow;
  }
}

void Reference::countDown(const std::string& vrf) {
  if (--counts_[vrf] == 0) {
    counts_.erase(vrf);
    cleanUp(vrf);
  }
}

/// Whatever happens in a VRF ends with this: one that nothing is counted for loses its object.
void Reference::cleanUp(const std::string& vrf) {
  if (!counts_.contains(vrf) && vrf != kDefaultVrf) {
    served_.erase(vrf);
  }
}

std::uint32_t Reference::indexedIn(const std::string& vrf) const {
  return static_cast<std::uint32_t>(std::ranges::count_if(records_, [&](const auto& entry) {
    return entry.first.vrf == vrf && indexOf(entry.first).has_value();
  }));
}

}  // namespace Model
