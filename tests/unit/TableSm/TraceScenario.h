#pragma once

#include "TableSmWorld.h"

/// Drives one table's state machine through every situation that it has a trace line for, and takes
/// down what it says. Where a line's words depend on the order of a walk there is one item only, so
/// that the lines do not depend on how the library hashes.
template <class Table>
class TraceScenario : private TableSmWorld<Table> {
 public:
  using World = TableSmWorld<Table>;
  using Lines = std::vector<TraceRecorder::Line>;

  [[nodiscard]] static Lines run() {
    TraceScenario scenario;
    scenario.startOverKeptRows();
    scenario.changeRecordsAndIndexes();
    scenario.takeAVrfsNameAway();
    scenario.askTooEarly();
    return scenario.trace_.lines();
  }

 private:
  /// A slow start over rows of which two are stale.
  void startOverKeptRows() {
    this->ifIndexIs("eth1", 7);
    this->ifIndexIs("eth2", 8);
    this->put("lab", "web", this->key("", 1), 1.5F);
    this->put("lab", "web", this->key("", 2), 1.5F);
    // Shorter names than the others: they come first in the order of the rows.
    this->put("lab", "aa", this->key("", 1), 1.5F);
    this->put("lab", "aa", this->key("", 2), 1.5F);
    this->start();
    this->sm = nullptr;
    this->statusDir("lab")->hostStatusDel(typename World::HostKey("aa", "default"));
    this->template policyIs<AlwaysYield>();
    trace_.clear();
    this->start();
    this->sm->handleVrfOutputInputReady();  // Ready already.
    this->template policyIs<NeverYield>();
  }
  void changeRecordsAndIndexes() {
    const auto waiting = this->key("eth3", 3);
    this->put("lab", "db", waiting, 2.5F, "blue");  // Waits.
    this->remove("lab", "db", waiting, "blue");     // Waits no more.
    this->put("lab", "db", waiting, 2.5F, "blue");
    this->ifIndexIs("eth3", 9);                     // Is replayed.
    this->put("lab", "db", waiting, 3.5F, "blue");  // Is replaced.
    this->ifIndexIs("eth3", 10);                    // Nobody waits.
    this->ifIndexIs("eth3", 9);
    this->remove("lab", "db", waiting, "blue");
    this->counts->vrfRefCountIs("blue", 1);
    this->event("lab", "db", waiting, "blue");  // The VRF's last event.
  }
  void takeAVrfsNameAway() {
    this->conMonMibRoot->dirIs("red");
    try {
      this->put("lab", "web", this->key("", 4), 1.5F, "red");
    } catch (const std::bad_optional_access&) {
      // ICMP has no filter line for it.
    }
  }
  /// The initial scan's end, asked for before the scans are through.
  void askTooEarly() {
    this->sm = nullptr;
    trace_.onLineIs([this](const std::string& text) {
      const auto state = this->sm->inputSmScanState();
      if (text != "create non-public arg SMs") {
        return;
      }
      this->sm->handleInitialScanDone();
      state->streamScanIs(true);
      this->sm->handleInitialScanDone();
      state->ifMibStreamScanIs(true);
      this->sm->handleInitialScanDone();
      state->streamScanIs(false);
      state->ifMibStreamScanIs(false);
    });
    this->sm = Qiv::make<typename World::Sm>(
        this->clientDir, this->conMonMibRoot, this->ifMib, this->counts,
        Yex::SmControl{this->scheduler, 0, World::Mode::kAsynchronous});
    this->sm->handleInitialized();
    trace_.onLineIs({});
    this->sm = nullptr;
  }

  TraceRecorder trace_{kTableSmUnit, kSmTypesUnit};
};
