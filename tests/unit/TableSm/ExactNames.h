#pragma once

#include "TableSmWorld.h"

/// The names that only one table has, written out, as members that a typed test can call.
template <class Table>
struct ExactNames;

namespace IcmpNames = ConnectivityMonitorSnmp::PlyxCode::ConnectivityMonitorSnmpIcmpTableSm;
namespace HttpNames = ConnectivityMonitorSnmp::PlyxCode::ConnectivityMonitorSnmpHttpTableSm;
namespace TcpNames = ConnectivityMonitorSnmp::PlyxCode::ConnectivityMonitorSnmpTcpTableSm;

template <>
struct ExactNames<ConnectivityMonitorSnmp::IcmpTable> {
  using Sm = ConnectivityMonitorSnmp::ConnectivityMonitorSnmpIcmpTableSm;
  using IfMibSm = IcmpNames::IfMibSm0;
  using ClientDirSm = IcmpNames::ClientDirSm1;
  using EntityPtrSm = IcmpNames::EntityPtrSm2;
  using HostStatusSm = IcmpNames::HostStatusSm3;
  using ScanState = IcmpNames::InputSmScanState;
  using OutputState = IcmpNames::OutputState;
  using LocalAttrStore = IcmpNames::LocalAttrStore;
  using SeenRows =
      IcmpNames::ConnectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputCollType;
  using SeenRow = IcmpNames::ConnectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputKeyType;
  using SeenVrf = IcmpNames::VrfRefCountVrfRefCountOutputKeyType;

  static constexpr auto kIfMibSm = &Sm::ifMibSm0;
  static constexpr auto kClientDirSm = &Sm::clientDirSm1;
  static constexpr auto kVersionStats = &HostStatusSm::versionIcmpStats;
  static constexpr auto kStreamScan = &ScanState::icmpStreamScan;
  static constexpr auto kIfMibStreamScan = &ScanState::ifMibIcmpStreamScan;
  static constexpr auto kBacklogReady =
      &OutputState::intfToIcmpStatsBacklogIcmpStatsInfoSetOutputReady;
  static constexpr auto kRowsReady =
      &OutputState::connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputReady;
  static constexpr auto kBacklog = &LocalAttrStore::intfToIcmpStatsBacklog;

  static constexpr auto kRowsReconciling =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputReconciling;
  static constexpr auto kRowsUseBookmark =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputUseBookmark;
  static constexpr auto kRowsPtrBookmark =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputPtrBookmark;
  static constexpr auto kRowsBookmark =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputBookmark;
  static constexpr auto kRowsTask =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputReconciliationTask;
  static constexpr auto kRowsTaskDispatch =
      &Sm::
          connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputReconciliationTaskDispatch;
  static constexpr auto kRowsSeen =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputPtrSeen;
  static constexpr auto kRowsSeenIs =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputPtrSeenIs;
  static constexpr auto kRowsSeenDel =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputPtrSeenDel;
  static constexpr auto kRowsSeenDelAll =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputPtrSeenDelAll;
};

template <>
struct ExactNames<ConnectivityMonitorSnmp::HttpTable> {
  using Sm = ConnectivityMonitorSnmp::ConnectivityMonitorSnmpHttpTableSm;
  using IfMibSm = HttpNames::IfMibSm4;
  using ClientDirSm = HttpNames::ClientDirSm5;
  using EntityPtrSm = HttpNames::EntityPtrSm6;
  using HostStatusSm = HttpNames::HostStatusSm7;
  using ScanState = HttpNames::InputSmScanState;
  using OutputState = HttpNames::OutputState;
  using LocalAttrStore = HttpNames::LocalAttrStore;
  using SeenRows =
      HttpNames::ConnectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputCollType;
  using SeenRow = HttpNames::ConnectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputKeyType;
  using SeenVrf = HttpNames::VrfRefCountVrfRefCountOutputKeyType;

  static constexpr auto kIfMibSm = &Sm::ifMibSm4;
  static constexpr auto kClientDirSm = &Sm::clientDirSm5;
  static constexpr auto kVersionStats = &HostStatusSm::versionHttpStats;
  static constexpr auto kStreamScan = &ScanState::httpStreamScan;
  static constexpr auto kIfMibStreamScan = &ScanState::ifMibHttpStreamScan;
  static constexpr auto kBacklogReady =
      &OutputState::intfToHttpStatsBacklogHttpStatsInfoSetOutputReady;
  static constexpr auto kRowsReady =
      &OutputState::connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputReady;
  static constexpr auto kBacklog = &LocalAttrStore::intfToHttpStatsBacklog;

  static constexpr auto kRowsReconciling =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputReconciling;
  static constexpr auto kRowsUseBookmark =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputUseBookmark;
  static constexpr auto kRowsPtrBookmark =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputPtrBookmark;
  static constexpr auto kRowsBookmark =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputBookmark;
  static constexpr auto kRowsTask =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputReconciliationTask;
  static constexpr auto kRowsTaskDispatch =
      &Sm::
          connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputReconciliationTaskDispatch;
  static constexpr auto kRowsSeen =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputPtrSeen;
  static constexpr auto kRowsSeenIs =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputPtrSeenIs;
  static constexpr auto kRowsSeenDel =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputPtrSeenDel;
  static constexpr auto kRowsSeenDelAll =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputPtrSeenDelAll;
};

template <>
struct ExactNames<ConnectivityMonitorSnmp::TcpTable> {
  using Sm = ConnectivityMonitorSnmp::ConnectivityMonitorSnmpTcpTableSm;
  using IfMibSm = TcpNames::IfMibSm8;
  using ClientDirSm = TcpNames::ClientDirSm9;
  using EntityPtrSm = TcpNames::EntityPtrSm10;
  using HostStatusSm = TcpNames::HostStatusSm11;
  using ScanState = TcpNames::InputSmScanState;
  using OutputState = TcpNames::OutputState;
  using LocalAttrStore = TcpNames::LocalAttrStore;
  using SeenRows = TcpNames::ConnectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputCollType;
  using SeenRow = TcpNames::ConnectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputKeyType;
  using SeenVrf = TcpNames::VrfRefCountVrfRefCountOutputKeyType;

  static constexpr auto kIfMibSm = &Sm::ifMibSm8;
  static constexpr auto kClientDirSm = &Sm::clientDirSm9;
  static constexpr auto kVersionStats = &HostStatusSm::versionTcpStats;
  static constexpr auto kStreamScan = &ScanState::tcpStreamScan;
  static constexpr auto kIfMibStreamScan = &ScanState::ifMibTcpStreamScan;
  static constexpr auto kBacklogReady =
      &OutputState::intfToTcpStatsBacklogTcpStatsInfoSetOutputReady;
  static constexpr auto kRowsReady =
      &OutputState::connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputReady;
  static constexpr auto kBacklog = &LocalAttrStore::intfToTcpStatsBacklog;

  static constexpr auto kRowsReconciling =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputReconciling;
  static constexpr auto kRowsUseBookmark =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputUseBookmark;
  static constexpr auto kRowsPtrBookmark =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputPtrBookmark;
  static constexpr auto kRowsBookmark =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputBookmark;
  static constexpr auto kRowsTask =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputReconciliationTask;
  static constexpr auto kRowsTaskDispatch =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputReconciliationTaskDispatch;
  static constexpr auto kRowsSeen =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputPtrSeen;
  static constexpr auto kRowsSeenIs =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputPtrSeenIs;
  static constexpr auto kRowsSeenDel =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputPtrSeenDel;
  static constexpr auto kRowsSeenDelAll =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputPtrSeenDelAll;
};
