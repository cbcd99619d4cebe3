#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "AgentForTest.h"
#include "ConnectivityMonitorSnmp/velmorConMonMIB.h"
#include "Qiv/Dir.h"
#include "TableFacts.h"

/// An agent, a store with a ConnectivityMonitorMib per VRF, and the module's trace as a list of
/// `LEVEL: TEXT`. Contexts come up with serve() and go with the fixture.
class ModuleFixture : public testing::Test {
 protected:
  ModuleFixture();
  ~ModuleFixture() override;

  /// The object of a VRF, made at its first mention.
  TableFacts::ConnectivityMonitorMib& mib(std::string_view vrf);
  /// Makes the context's object and starts the module in it; "" shares "default"'s object.
  TableFacts::ConnectivityMonitorMib& serve(std::string_view context);

  /// Traces up to `level` from here on, dropping what was traced before; -1 for none.
  void traceFrom(int level);
  [[nodiscard]] const std::vector<std::string>& traced() const { return lines_; }

  const AgentForTest::Agent& agent_ = AgentForTest::Agent::instance();

 private:
  Qiv::Dir::Ptr root_;
  std::vector<std::string> lines_;
};

/// The fixture over all three tables.
template <class Table>
class EveryTable : public ModuleFixture {};
using AllTables = testing::Types<TableFacts::Icmp, TableFacts::Http, TableFacts::Tcp>;
