#include "ConnectivityMonitor/Status.h"

#include "Qiv/TypeRegistry.h"

namespace ConnectivityMonitor {

namespace {

const Qiv::TypeInfo& hostStatusType() {
  static const Qiv::TypeInfo type{"ConnectivityMonitor::HostStatus",
                                  nullptr,
                                  {Qiv::collection<&HostStatus::icmpStats>("icmpStats"),
                                   Qiv::collection<&HostStatus::httpStats>("httpStats"),
                                   Qiv::collection<&HostStatus::tcpStats>("tcpStats")}};
  return type;
}

const Qiv::TypeInfo& statusDirType() {
  using All = const StatusDir::HostStatusMap& (StatusDir::*)() const noexcept;
  static const Qiv::TypeInfo type{
      "ConnectivityMonitor::StatusDir",
      [](const Pomel::String& name) -> Qiv::Entity::Ptr { return Qiv::make<StatusDir>(name); },
      {Qiv::attribute<&StatusDir::name>("name"),
       Qiv::collection<static_cast<All>(&StatusDir::hostStatus)>("hostStatus")}};
  return type;
}

const Qiv::TypeRegistration hostStatusRegistration{hostStatusType()};
const Qiv::TypeRegistration statusDirRegistration{statusDirType()};

}  // namespace

const Qiv::TypeInfo& HostStatus::typeInfo() const { return hostStatusType(); }
const Qiv::TypeInfo& StatusDir::typeInfo() const { return statusDirType(); }

HostStatus::Ptr StatusDir::hostStatus(const HostNameVrfKey& key) const {
  const HostStatus::Ptr* found = hostStatus_.find(key);
  return found == nullptr ? nullptr : *found;
}

HostStatus::Ptr StatusDir::hostStatusIs(const HostNameVrfKey& key) {
  if (HostStatus::Ptr present = hostStatus(key)) {
    return present;
  }
  HostStatus::Ptr made = Qiv::make<HostStatus>(key);
  hostStatus_.set(key, made);
  return made;
}

}  // namespace ConnectivityMonitor
