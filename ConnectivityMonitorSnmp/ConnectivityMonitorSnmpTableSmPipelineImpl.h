#pragma once

/// One event of the pipeline.
///
/// Three steps, always in this order: the row with its VRF's count, the interface backlog, and the
/// VRF's clean-up. A count moves with every event, not with rows coming and going; what brings it
/// back is the removal of records and the reconciliation. A removed ifIndex, and a removal that no
/// count covers, mean that the inputs broke their promises: the process stops.
///
/// Every write publishes, and a subscriber may change the inputs, so that further events run inside
/// this one, or drop the agent. The innermost event is the newest: what it wrote stays.

#include <optional>
#include <vector>

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmCore.h"
#include "Pomel/Fatal.h"

namespace ConnectivityMonitorSnmp {

template <class Table>
void TableSm<Table>::eventToStream(const Pomel::String& client, const HostKey& hostKey,
                                   const StatsKey& statsKey) {
  if (!initialScanDone_) {
    return;
  }
  trace<
      "@Stream = from( clientDir.entityPtr< StatusDir >[].hostStatus[].@Stats[] ): "
      "client={} hostKey={} @StatsKey={}">(7, client, hostKey, statsKey);
  (shell().*Shell::kEventToMaybeUpdateMib)(client, hostKey, statsKey,
                                           Lintu::IntfId(statsKey.intfName));
}

template <class Table>
void TableSm<Table>::eventToIfMibStream(const Lintu::IntfId& intfId,
                                        Qiv::Optional<std::uint32_t> ifIndexOpt) {
  if (!initialScanDone_) {
    return;
  }
  trace<"ifMib#Stream = from( ifMib.ifIndexByIntfId[] ): intfId={} ifIndexOpt={}">(7, intfId,
                                                                                   ifIndexOpt);
  if (!ifIndexOpt) {
    Pomel::fatal(
        fmt::format("{} Internal error, deletion doesn't happen", PlyxCode::plyxPrint(intfId)));
  }
  const Qiv::Ptr<TableSm> keptThis(this);
  const auto* waiting = localAttrStore_->intfToStatsBacklog().find(intfId);
  if (waiting == nullptr) {
    trace<"filter( @StatsInfoSetOpt ) failed, terminating pipeline">(6);
    return;
  }
  // The events below take their elements out of the set, and the set out of the backlog.
  const auto kept = *waiting;
  trace<" foreach( ( *@StatsInfoSetOpt ).@StatsInfoSet ) flattening {} elements">(
      6, kept->infos().size());
  const std::vector<typename Table::Info> elements(kept->infos().begin(), kept->infos().end());
  for (const typename Table::Info& info : elements) {
    if (!kept->infos().contains(info)) {
      continue;  // An event inside one of these has taken it out.
    }
    trace<"Flattening element: {}">(9, info);
    (shell().*Shell::kEventToMaybeUpdateMib)(info.client(), info.hostKey(), info.statsKey(),
                                             intfId);
  }
}

template <class Table>
void TableSm<Table>::eventToMaybeUpdateMib(const Pomel::String& client, const HostKey& hostKey,
                                           const StatsKey& statsKey, const Lintu::IntfId& intfId) {
  if (!initialScanDone_) {
    return;
  }
  trace<
      "maybeUpdateMib#Table = merge( @Stream, ifMib#Stream ): "
      "client={} hostKey={} @StatsKey={} intfId={}">(7, client, hostKey, statsKey, intfId);
  const Qiv::Ptr<TableSm> kept(this);
  ++mergedEvents_;
  const typename Table::Stats* const stats = findStats(client, hostKey, statsKey);
  const bool present = stats != nullptr;
  const std::uint32_t* const ifIndex = ifMib_->ifIndexByIntfId().find(intfId);
  const bool indexed = ifIndex != nullptr;
  const bool noIntf = intfId == Lintu::IntfId();
  if (noIntf || indexed) {
    updateRow(client, hostKey, statsKey, indexed ? *ifIndex : 0, stats);
  }
  updateBacklog(client, hostKey, statsKey, intfId, !noIntf && !indexed && present);
  cleanUpVrf(hostKey.vrfName());
}

template <class Table>
const typename Table::Stats* TableSm<Table>::findStats(const Pomel::String& client,
                                                       const HostKey& hostKey,
                                                       const StatsKey& statsKey) const {
  const Qiv::Entity::Ptr* const entity = clientDir_->entityPtr().find(client);
  if (entity == nullptr || !*entity) {
    return nullptr;
  }
  const auto* const statusDir = dynamic_cast<const ConnectivityMonitor::StatusDir*>(entity->get());
  if (statusDir == nullptr) {
    Pomel::assertionFailed("dynamic_cast< StatusDir >( clientDir.entityPtr( client ) )");
  }
  const auto* const hostStatus = statusDir->hostStatus().find(hostKey);
  return hostStatus == nullptr ? nullptr : ((**hostStatus).*Table::kStatsMap)().find(statsKey);
}

template <class Table>
void TableSm<Table>::updateRow(const Pomel::String& client, const HostKey& hostKey,
                               const StatsKey& statsKey, std::uint32_t ifIndex,
                               const typename Table::Stats* stats) {
  const std::uint64_t event = mergedEvents_;
  RowName name;
  appendTo(name, client.view());
  appendTo(name, hostKey.hostName().view());
  Table::appendProbe(name, statsKey);
  appendTo(name, ifIndex);
  const Snmp::String index = ConnectivityMonitorMib::uniqueKey({name.data(), name.size()});
  // A copy: the record may change while this is under way.
  Qiv::Optional<RowValue> value;
  if (stats != nullptr) {
    value = Table::rowValue(index, *stats, client, hostKey.hostName(), statsKey, ifIndex);
  }

  const Pomel::String& vrfName = hostKey.vrfName();
  const auto newRef = [&] {
    const std::uint32_t currRef = vrfRefCount_->vrfRefCount(vrfName);
    if (!value && currRef == 0) {
      Pomel::fatal("Cannot decrement a refcount of zero");
    }
    return value ? currRef + 1 : currRef - 1;
  };
  static_cast<void>(newRef());  // Nothing is made for a removal that no count covers.
  const MibPtr mib = conMonMibForVrf(vrfName, conMonMibRoot_);
  if (vrfPass_.reconciling) {
    vrfSeenIs(VrfKey(vrfName));
  }
  // Afresh: that the object was made may have led to events of all three tables.
  writeVrfRefCount(vrfName, newRef());
  if (!mib) {
    if constexpr (Table::kMissingMibThrows) {
      throw std::bad_optional_access();
    }
    trace<"filter( conMonMibOpt ) failed, terminating pipeline">(6);
    return;
  }
  if (mibPass_.reconciling) {
    mibSeenIs(mib)->seenIs(typename Seen::KeyType(index));
  }
  writeRow(*mib, index, value, [&] {
    if (mergedEvents_ == event) {
      return true;
    }
    const typename Table::Stats* const now = findStats(client, hostKey, statsKey);
    return value ? now != nullptr && *now == std::get<typename Table::Stats>(*value)
                 : now == nullptr;
  });
}

template <class Table>
void TableSm<Table>::writeVrfRefCount(const Pomel::String& vrfName, std::uint32_t count) {
  if (count == 0) {
    trace<"into( vrfRefCount.vrfRefCount[ vrfName ] ): deleting k1={}">(7, vrfName);
    vrfRefCount_->vrfRefCountDel(vrfName);
  } else {
    trace<"into( vrfRefCount.vrfRefCount[ vrfName ] ): inserting k1={}, value={}">(7, vrfName,
                                                                                   count);
    vrfRefCount_->vrfRefCountIs(vrfName, count);
  }
}

/// `upToDate` tells whether the record still is what `value` was made of.
template <class Table>
template <class UpToDate>
void TableSm<Table>::writeRow(ConnectivityMonitorMib& mib, const Snmp::String& index,
                              const Qiv::Optional<RowValue>& value, const UpToDate& upToDate) {
  if (!upToDate()) {
    return;
  }
  if (!value) {
    trace<"into( conMonMib.@Table[ index ] ): deleting k1={}">(7, index);
    (mib.*Table::kRowDel)(index);
    return;
  }
  trace<"into( conMonMib.@Table[ index ] ): inserting k1={}, value={}">(7, index, *value);
  const auto& rows = (mib.*Table::kRows)();
  while (const auto* const row = rows.find(index)) {
    const bool same = std::apply(
        [&](const Snmp::String& /*index*/, const auto&... arguments) {
          return row->arguments() == std::tie(arguments...);
        },
        *value);
    if (same) {
      return;
    }
    (mib.*Table::kRowDel)(index);
    if (!rows.changes().hasSubscribers()) {
      break;  // Nobody was told, nothing came of it.
    }
    if (!upToDate()) {
      return;
    }
  }
  std::apply([&](const auto&... arguments) { (mib.*Table::kRowIs)(arguments...); }, *value);
}

template <class Table>
void TableSm<Table>::updateBacklog(const Pomel::String& client, const HostKey& hostKey,
                                   const StatsKey& statsKey, const Lintu::IntfId& intfId,
                                   bool waiting) {
  if (waiting) {
    const typename Table::Info element(client, hostKey, statsKey);
    trace<
        "into( intfTo#StatsBacklog[ intfId ].@StatsInfoSet[ #StatsInfo( client, hostKey, "
        "@StatsKey ) ] ): inserting k1={}, k2={}">(7, intfId, element);
    localAttrStore_->backlogInfoIs(intfId, element);
  } else if (localAttrStore_->intfToStatsBacklog().contains(intfId)) {
    const typename Table::Info element(client, hostKey, statsKey);
    trace<
        "into( intfTo#StatsBacklog[ intfId ].@StatsInfoSet[ #StatsInfo( client, hostKey, "
        "@StatsKey ) ] ): deleting k1={}, k2={}">(7, intfId, element);
    localAttrStore_->backlogInfoDel(intfId, element);
  }
}

template <class Table>
void TableSm<Table>::cleanUpVrf(const Pomel::String& vrfName) {
  if (vrfRefCount_->vrfRefCount(vrfName) != 0) {
    trace<"filter( ( currRef == 0 ) ) failed, terminating pipeline">(6);
    return;
  }
  cleanUpConMonMibForVrf(vrfName, conMonMibRoot_);
  if (vrfRefCount_->vrfRefCount(vrfName) != 0) {
    return;  // The object's end led to events that brought the VRF back.
  }
  trace<"into( vrfRefCount.vrfRefCount[ vrfName ] ): deleting k1={}">(7, vrfName);
  vrfRefCount_->vrfRefCountDel(vrfName);
}

template <class Table>
void TableSm<Table>::doDeleteAll() {
  const Qiv::Ptr<TableSm> kept(this);
  clientDirSm_->doDeleteAll();
  ifMibSm_->doDeleteAll();
}

template <class Table>
void LocalAttrStore<Table>::backlogInfoIs(const Lintu::IntfId& intfId,
                                          const typename Table::Info& info) {
  const InfoSetPtr* present = backlog_.find(intfId);
  const InfoSetPtr set = present != nullptr ? *present : Qiv::make<typename Table::InfoSet>();
  (*set.*Table::kInfoIs)(info);
  backlog_.set(intfId, set);
}

template <class Table>
void LocalAttrStore<Table>::backlogInfoDel(const Lintu::IntfId& intfId,
                                           const typename Table::Info& info) {
  const InfoSetPtr* present = backlog_.find(intfId);
  if (present == nullptr) {
    return;
  }
  const InfoSetPtr set = *present;
  (*set.*Table::kInfoDel)(info);
  if (set->infos().empty()) {
    backlog_.erase(intfId);
  }
}

}  // namespace ConnectivityMonitorSnmp
