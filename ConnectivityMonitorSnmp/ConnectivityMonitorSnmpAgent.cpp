#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpAgent.h"

#include "Qiv/TypeRegistry.h"
#include "Trace/Trace.h"

namespace ConnectivityMonitorSnmp {

namespace {

constexpr std::string_view kAgentAttribute = "connectivityMonitorSnmpAgent";

const Qiv::TypeInfo& agentType() {
  using Agent = ConnectivityMonitorSnmpAgent;
  static const Qiv::TypeInfo type{
      "ConnectivityMonitorSnmp::ConnectivityMonitorSnmpAgent",
      nullptr,
      {Qiv::attribute<&Agent::clientDir>("clientDir"),
       Qiv::attribute<&Agent::conMonMibRoot>("conMonMibRoot"),
       Qiv::attribute<&Agent::ifMib>("ifMib"), Qiv::attribute<&Agent::smControl>("smControl"),
       Qiv::attribute<&Agent::connectivityMonitorTableIcmpSm>("connectivityMonitorTableIcmpSm"),
       Qiv::attribute<&Agent::connectivityMonitorTableHttpSm>("connectivityMonitorTableHttpSm"),
       Qiv::attribute<&Agent::connectivityMonitorTableTcpSm>("connectivityMonitorTableTcpSm"),
       Qiv::attribute<&Agent::vrfRefCount>("vrfRefCount")}};
  return type;
}

const Qiv::TypeInfo& rootType() {
  static const Qiv::TypeInfo type{
      Root::kTypeName,
      [](const Pomel::String& name) -> Qiv::Entity::Ptr { return rootFactory(name); },
      {Qiv::attribute<&Root::name>("name"),
       Qiv::attribute<&Root::connectivityMonitorSnmpAgent, &Root::connectivityMonitorSnmpAgentIs,
                      &Root::connectivityMonitorSnmpAgentDel>(kAgentAttribute)}};
  return type;
}

const Qiv::TypeRegistration agentRegistration{agentType()};
const Qiv::TypeRegistration rootRegistration{rootType()};

/// The state machine that `make` makes, in `attribute` and switched on.
template <class SmPtr, class Make>
SmPtr tableSmIs(SmPtr& attribute, const Make& make) {
  attribute = make();
  attribute->hasNotificationActiveIs(true);
  return attribute;
}

}  // namespace

ConnectivityMonitorSnmpAgent::ConnectivityMonitorSnmpAgent(Qiv::Dir::PtrConst clientDir,
                                                           Qiv::Dir::Ptr conMonMibRoot,
                                                           IntfSnmp::IfMib::PtrConst ifMib)
    : clientDir_(std::move(clientDir)),
      conMonMibRoot_(std::move(conMonMibRoot)),
      ifMib_(std::move(ifMib)) {
  handleInitialized();
}

template <class Visit>
void ConnectivityMonitorSnmpAgent::forEachSm(const Visit& visit) {
  const auto visitOne = [&](auto& sm) {
    if (sm) {
      visit(sm);
    }
  };
  visitOne(icmpSm_);
  visitOne(httpSm_);
  visitOne(tcpSm_);
}

ConnectivityMonitorSnmpAgent::~ConnectivityMonitorSnmpAgent() {
  beingDestroyedIs(true);
  hasNotificationActiveIs(false);
  qivDoZombieReactors(true);
  forEachSm([](auto& sm) {
    if (sm->hasNotificationActive()) {  // Not the second time: there may be a million children.
      sm->hasNotificationActiveIs(false);
    }
    sm = nullptr;
  });
}

const Qiv::TypeInfo& ConnectivityMonitorSnmpAgent::typeInfo() const { return agentType(); }

void ConnectivityMonitorSnmpAgent::handleInitialized() {
  vrfRefCountIs();
  const Trace::Handle& trace = Trace::handle("ConnectivityMonitorSnmpAgent");
  if (trace.on(9)) {
    trace.write(
        9, "Creating ConnectivityMonitorSnmpTableSm",
        {"/src/ConnectivityMonitorSnmp/ConnectivityMonitorSnmpAgent", 13, "handleInitialized"});
  }
  connectivityMonitorTableIcmpSmIs(clientDir_, conMonMibRoot_, ifMib_, vrfRefCount_, smControl_);
  connectivityMonitorTableHttpSmIs(clientDir_, conMonMibRoot_, ifMib_, vrfRefCount_, smControl_);
  connectivityMonitorTableTcpSmIs(clientDir_, conMonMibRoot_, ifMib_, vrfRefCount_, smControl_);
}

void ConnectivityMonitorSnmpAgent::hasNotificationActiveIs(bool active) {
  if (hasNotificationActive() == active) {
    return;
  }
  const Ptr kept(this);  // Switching on may lead to events, and these to the agent's release.
  notificationActiveIs(active);
  const bool zombies = doZombieReactors();
  qivDoZombieReactors(true);
  forEachSm([&](auto& sm) { sm->hasNotificationActiveIs(active); });
  qivDoZombieReactors(zombies);
}

void ConnectivityMonitorSnmpAgent::vrfRefCountIs() {
  if (!vrfRefCount_) {
    vrfRefCount_ = vrfRefCountFactory();
  }
}

ConnectivityMonitorSnmpIcmpTableSm::Ptr
ConnectivityMonitorSnmpAgent::connectivityMonitorTableIcmpSmIs(
    const Qiv::Dir::PtrConst& clientDir, const Qiv::Dir::Ptr& conMonMibRoot,
    const IntfSnmp::IfMib::PtrConst& ifMib, const VrfRefCount::Ptr& vrfRefCount,
    const Yex::SmControl& smControl) {
  return tableSmIs(icmpSm_, [&] {
    return connectivityMonitorSnmpIcmpTableSmFactory(clientDir, conMonMibRoot, ifMib, vrfRefCount,
                                                     smControl);
  });
}

ConnectivityMonitorSnmpHttpTableSm::Ptr
ConnectivityMonitorSnmpAgent::connectivityMonitorTableHttpSmIs(
    const Qiv::Dir::PtrConst& clientDir, const Qiv::Dir::Ptr& conMonMibRoot,
    const IntfSnmp::IfMib::PtrConst& ifMib, const VrfRefCount::Ptr& vrfRefCount,
    const Yex::SmControl& smControl) {
  return tableSmIs(httpSm_, [&] {
    return connectivityMonitorSnmpHttpTableSmFactory(clientDir, conMonMibRoot, ifMib, vrfRefCount,
                                                     smControl);
  });
}

ConnectivityMonitorSnmpTcpTableSm::Ptr
ConnectivityMonitorSnmpAgent::connectivityMonitorTableTcpSmIs(
    const Qiv::Dir::PtrConst& clientDir, const Qiv::Dir::Ptr& conMonMibRoot,
    const IntfSnmp::IfMib::PtrConst& ifMib, const VrfRefCount::Ptr& vrfRefCount,
    const Yex::SmControl& smControl) {
  return tableSmIs(tcpSm_, [&] {
    return connectivityMonitorSnmpTcpTableSmFactory(clientDir, conMonMibRoot, ifMib, vrfRefCount,
                                                    smControl);
  });
}

ConnectivityMonitorSnmpAgent::Ptr connectivityMonitorSnmpAgentFactory(
    Qiv::Dir::PtrConst clientDir, Qiv::Dir::Ptr conMonMibRoot, IntfSnmp::IfMib::PtrConst ifMib) {
  return Qiv::make<ConnectivityMonitorSnmpAgent>(std::move(clientDir), std::move(conMonMibRoot),
                                                 std::move(ifMib));
}

ConnectivityMonitorSnmpAgent::Ptr ConnectivityMonitorSnmpAgentIs(Qiv::Dir::PtrConst clientDir,
                                                                 Qiv::Dir::Ptr conMonMibRoot,
                                                                 IntfSnmp::IfMib::PtrConst ifMib) {
  return connectivityMonitorSnmpAgentFactory(std::move(clientDir), std::move(conMonMibRoot),
                                             std::move(ifMib));
}

const Qiv::TypeInfo& Root::typeInfo() const { return rootType(); }

Root::~Root() {
  beingDestroyedIs(true);
  connectivityMonitorSnmpAgentDel();
}

ConnectivityMonitorSnmpAgent::Ptr Root::connectivityMonitorSnmpAgentIs(
    Qiv::Dir::PtrConst clientDir, Qiv::Dir::Ptr conMonMibRoot, IntfSnmp::IfMib::PtrConst ifMib) {
  if (agent_ && agent_->clientDir() == clientDir && agent_->conMonMibRoot() == conMonMibRoot &&
      agent_->ifMib() == ifMib) {
    return agent_;
  }
  agent_ = nullptr;
  const auto made = connectivityMonitorSnmpAgentFactory(std::move(clientDir),
                                                        std::move(conMonMibRoot), std::move(ifMib));
  agent_ = made;
  changes().publish(kAgentAttribute);
  if (agent_ == made) {  // Else a subscriber had something else in mind.
    made->hasNotificationActiveIs(true);
  }
  return agent_;
}

void Root::connectivityMonitorSnmpAgentDel() {
  const ConnectivityMonitorSnmpAgent::Ptr old = std::exchange(agent_, nullptr);
  if (!old) {
    return;
  }
  changes().publish(kAgentAttribute);
  old->hasNotificationActiveIs(false);
}

Root::Ptr rootFactory(const Pomel::String& name) { return Qiv::make<Root>(name); }
Root::Ptr RootIs(const Pomel::String& name) { return rootFactory(name); }

}  // namespace ConnectivityMonitorSnmp
