#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpSmTypes.h"

#include <span>
#include <stdexcept>

#include "ConnectivityMonitorSnmp/velmorConMonMIB.h"
#include "Qiv/FieldText.h"
#include "Qiv/TypeInfo.h"
#include "Trace/Trace.h"

namespace ConnectivityMonitorSnmp {

namespace {

constexpr std::string_view kDefaultVrf = "default";

Trace::Handle& trace() {
  static Trace::Handle& handle = Trace::handle("ConnectivityMonitorSnmpSmTypes");
  return handle;
}

template <class Info>
struct InfoSetNames;
template <>
struct InfoSetNames<IcmpStatsInfo> {
  static constexpr std::string_view kType = "ConnectivityMonitorSnmp::IcmpStatsInfoSet";
  static constexpr std::string_view kAttribute = "icmpStatsInfoSet";
};
template <>
struct InfoSetNames<HttpStatsInfo> {
  static constexpr std::string_view kType = "ConnectivityMonitorSnmp::HttpStatsInfoSet";
  static constexpr std::string_view kAttribute = "httpStatsInfoSet";
};
template <>
struct InfoSetNames<TcpStatsInfo> {
  static constexpr std::string_view kType = "ConnectivityMonitorSnmp::TcpStatsInfoSet";
  static constexpr std::string_view kAttribute = "tcpStatsInfoSet";
};

}  // namespace

template <class StatsKey>
StatsInfo<StatsKey>::StatsInfo(std::string_view text) {
  constexpr std::size_t kBeforeStatsKey = 3;  // Client, host name and VRF name.
  const auto fields = Qiv::readFields(text);
  if (!fields || fields->size() < kBeforeStatsKey) {
    throw std::invalid_argument("not the text form of a stats info");
  }
  const std::span<const std::string> all(*fields);
  client_ = all[0];
  ConnectivityMonitor::readFields(all.subspan(1, 2), hostKey_);
  ConnectivityMonitor::readFields(all.subspan(kBeforeStatsKey), statsKey_);
}

template <class StatsKey>
std::ostream& operator<<(std::ostream& out, const StatsInfo<StatsKey>& info) {
  Qiv::writeField(out, info.client(), true);
  return out << ',' << info.hostKey() << ',' << info.statsKey();
}

template <class Info>
const Qiv::TypeInfo& StatsInfoSet<Info>::typeInfo() const {
  static const Qiv::TypeInfo type{
      InfoSetNames<Info>::kType,
      nullptr,
      {Qiv::collection<&StatsInfoSet::infos>(InfoSetNames<Info>::kAttribute)}};
  return type;
}

template class StatsInfo<ConnectivityMonitor::IcmpStatsKey>;
template class StatsInfo<ConnectivityMonitor::HttpStatsKey>;
template class StatsInfo<ConnectivityMonitor::TcpStatsKey>;
template std::ostream& operator<<(std::ostream&,
                                  const StatsInfo<ConnectivityMonitor::IcmpStatsKey>&);
template std::ostream& operator<<(std::ostream&,
                                  const StatsInfo<ConnectivityMonitor::HttpStatsKey>&);
template std::ostream& operator<<(std::ostream&,
                                  const StatsInfo<ConnectivityMonitor::TcpStatsKey>&);
template class StatsInfoSet<IcmpStatsInfo>;
template class StatsInfoSet<HttpStatsInfo>;
template class StatsInfoSet<TcpStatsInfo>;

const Qiv::TypeInfo& VrfRefCount::typeInfo() const {
  using All = const Counts& (VrfRefCount::*)() const noexcept;
  static const Qiv::TypeInfo type{
      "ConnectivityMonitorSnmp::VrfRefCount",
      nullptr,
      {Qiv::collection<static_cast<All>(&VrfRefCount::vrfRefCount), &VrfRefCount::vrfRefCountIs>(
          "vrfRefCount")}};
  return type;
}

std::uint32_t VrfRefCount::vrfRefCount(const Pomel::String& vrfName) const {
  const std::uint32_t* count = counts_.find(vrfName);
  return count == nullptr ? 0 : *count;
}

std::uint32_t VrfRefCount::vrfRefCountDel(const Pomel::String& vrfName) {
  const std::uint32_t removed = vrfRefCount(vrfName);
  counts_.erase(vrfName);
  return removed;
}

VrfRefCount::Ptr vrfRefCountFactory() { return Qiv::make<VrfRefCount>(); }

ConnectivityMonitorMib::Ptr conMonMibForVrf(const Pomel::String& vrfName,
                                            const Qiv::Dir::Ptr& conMonMibRoot) {
  if (const Qiv::Entity::Ptr* present = conMonMibRoot->entityPtr().find(vrfName)) {
    return Qiv::ptrCast<ConnectivityMonitorMib>(*present);
  }
  const auto mib = Qiv::ptrCast<ConnectivityMonitorMib>(
      conMonMibRoot->entityIs(vrfName, ConnectivityMonitorMib::kTypeName));
  init_velmorConMonMIB(vrfName);
  trace().line(8, "Registering connectivityMonitor mib in context {}", vrfName.view());
  return mib;
}

void cleanUpConMonMibForVrf(const Pomel::String& vrfName, const Qiv::Dir::Ptr& conMonMibRoot) {
  if (vrfName.view() == kDefaultVrf || !conMonMibRoot->entityPtr().contains(vrfName)) {
    return;
  }
  unregister_velmorConMonMIB(vrfName);
  conMonMibRoot->entityDel(vrfName);
}

}  // namespace ConnectivityMonitorSnmp
