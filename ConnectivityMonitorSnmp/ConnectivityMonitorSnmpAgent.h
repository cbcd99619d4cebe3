#pragma once

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSm.h"
#include "IntfSnmp/IfMib.h"
#include "Qiv/Dir.h"
#include "Qiv/Entity.h"
#include "Yex/SmControl.h"

namespace ConnectivityMonitorSnmp {

/// The writer half's top object: owns the three table state machines and the VRF count that they
/// share, and switches their notifications together. Made by Root alone.
class ConnectivityMonitorSnmpAgent final : public Qiv::Entity {
 public:
  using Ptr = Qiv::Ptr<ConnectivityMonitorSnmpAgent>;

  ConnectivityMonitorSnmpAgent(Qiv::Dir::PtrConst clientDir, Qiv::Dir::Ptr conMonMibRoot,
                               IntfSnmp::IfMib::PtrConst ifMib);
  ~ConnectivityMonitorSnmpAgent() override;
  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;

  [[nodiscard]] const Qiv::Dir::PtrConst& clientDir() const noexcept { return clientDir_; }
  [[nodiscard]] const Qiv::Dir::Ptr& conMonMibRoot() const noexcept { return conMonMibRoot_; }
  [[nodiscard]] const IntfSnmp::IfMib::PtrConst& ifMib() const noexcept { return ifMib_; }
  [[nodiscard]] const Yex::SmControl& smControl() const noexcept { return smControl_; }
  [[nodiscard]] const ConnectivityMonitorSnmpIcmpTableSm::Ptr& connectivityMonitorTableIcmpSm()
      const noexcept {
    return icmpSm_;
  }
  [[nodiscard]] const ConnectivityMonitorSnmpHttpTableSm::Ptr& connectivityMonitorTableHttpSm()
      const noexcept {
    return httpSm_;
  }
  [[nodiscard]] const ConnectivityMonitorSnmpTcpTableSm::Ptr& connectivityMonitorTableTcpSm()
      const noexcept {
    return tcpSm_;
  }
  [[nodiscard]] const VrfRefCount::Ptr& vrfRefCount() const noexcept { return vrfRefCount_; }

  /// Builds the children; the constructor's last step.
  void handleInitialized();
  /// Switches the agent and its state machines; nothing happens when the flag is as asked already.
  void hasNotificationActiveIs(bool active);

  /// Creates the count if it does not exist.
  void vrfRefCountIs();
  void vrfRefCountDel() { vrfRefCount_ = nullptr; }

  /// Make a state machine in place of the one there, and switch its notifications on.
  ConnectivityMonitorSnmpIcmpTableSm::Ptr connectivityMonitorTableIcmpSmIs(
      const Qiv::Dir::PtrConst& clientDir, const Qiv::Dir::Ptr& conMonMibRoot,
      const IntfSnmp::IfMib::PtrConst& ifMib, const VrfRefCount::Ptr& vrfRefCount,
      const Yex::SmControl& smControl);
  ConnectivityMonitorSnmpHttpTableSm::Ptr connectivityMonitorTableHttpSmIs(
      const Qiv::Dir::PtrConst& clientDir, const Qiv::Dir::Ptr& conMonMibRoot,
      const IntfSnmp::IfMib::PtrConst& ifMib, const VrfRefCount::Ptr& vrfRefCount,
      const Yex::SmControl& smControl);
  ConnectivityMonitorSnmpTcpTableSm::Ptr connectivityMonitorTableTcpSmIs(
      const Qiv::Dir::PtrConst& clientDir, const Qiv::Dir::Ptr& conMonMibRoot,
      const IntfSnmp::IfMib::PtrConst& ifMib, const VrfRefCount::Ptr& vrfRefCount,
      const Yex::SmControl& smControl);
  void connectivityMonitorTableIcmpSmDel() { icmpSm_ = nullptr; }
  void connectivityMonitorTableHttpSmDel() { httpSm_ = nullptr; }
  void connectivityMonitorTableTcpSmDel() { tcpSm_ = nullptr; }

 private:
  template <class Visit>
  void forEachSm(const Visit& visit);

  Qiv::Dir::PtrConst clientDir_;
  Qiv::Dir::Ptr conMonMibRoot_;
  IntfSnmp::IfMib::PtrConst ifMib_;
  Yex::SmControl smControl_;
  VrfRefCount::Ptr vrfRefCount_;
  ConnectivityMonitorSnmpIcmpTableSm::Ptr icmpSm_;
  ConnectivityMonitorSnmpHttpTableSm::Ptr httpSm_;
  ConnectivityMonitorSnmpTcpTableSm::Ptr tcpSm_;
};

[[nodiscard]] ConnectivityMonitorSnmpAgent::Ptr connectivityMonitorSnmpAgentFactory(
    Qiv::Dir::PtrConst clientDir, Qiv::Dir::Ptr conMonMibRoot, IntfSnmp::IfMib::PtrConst ifMib);
[[nodiscard]] ConnectivityMonitorSnmpAgent::Ptr ConnectivityMonitorSnmpAgentIs(
    Qiv::Dir::PtrConst clientDir, Qiv::Dir::Ptr conMonMibRoot, IntfSnmp::IfMib::PtrConst ifMib);

/// What the host creates, by type name, and drives by attribute name. Holds at most one agent.
class Root final : public Qiv::NamedEntity {
 public:
  using Ptr = Qiv::Ptr<Root>;
  static constexpr std::string_view kTypeName = "ConnectivityMonitorSnmp::Root";

  explicit Root(Pomel::String name) : NamedEntity(std::move(name)) {}
  ~Root() override;
  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;

  [[nodiscard]] const ConnectivityMonitorSnmpAgent::Ptr& connectivityMonitorSnmpAgent()
      const noexcept {
    return agent_;
  }
  /// The agent over these very inputs; one over other inputs is torn down first, which is why the
  /// inputs come by value: the caller may have read them off that very agent.
  ConnectivityMonitorSnmpAgent::Ptr connectivityMonitorSnmpAgentIs(Qiv::Dir::PtrConst clientDir,
                                                                   Qiv::Dir::Ptr conMonMibRoot,
                                                                   IntfSnmp::IfMib::PtrConst ifMib);
  void connectivityMonitorSnmpAgentDel();

 private:
  ConnectivityMonitorSnmpAgent::Ptr agent_;
};

[[nodiscard]] Root::Ptr rootFactory(const Pomel::String& name);
[[nodiscard]] Root::Ptr RootIs(const Pomel::String& name);

}  // namespace ConnectivityMonitorSnmp
