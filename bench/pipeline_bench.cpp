/// One event of the pipeline, by what becomes of the row, against a bare std::map of the same keys;
/// and the initial scan with its reconciliation. All figures are CPU time per probe.

#include <map>

#include "PipelineWorld.h"
#include "Ratios.h"

namespace {

using bench::PipelineWorld;
using bench::threadCpuSeconds;

constexpr std::size_t kProbes = 100'000;

/// Times `timed` over all probes, `prepare` and `restore` around it untimed, as time per probe.
template <class Prepare, class Timed, class Restore>
void timePass(benchmark::State& state, const Prepare& prepare, const Timed& timed,
              const Restore& restore) {
  for (auto unused : state) {
    static_cast<void>(unused);
    prepare();
    const double began = threadCpuSeconds();
    timed();
    state.SetIterationTime((threadCpuSeconds() - began) / kProbes);
    restore();
  }
}

PipelineWorld& world() {
  static PipelineWorld made(kProbes);
  made.notificationsAre(false);
  return made;
}

const auto kNothing = [] {};

void mapInsert(benchmark::State& state) {
  const auto keys = world().rowKeys();
  std::map<Snmp::String, ConnectivityMonitor::IcmpStats> map;
  timePass(
      state, kNothing,
      [&] {
        for (std::size_t at = 0; at < keys.size(); ++at) {
          map.emplace(keys[at], world().probes()[at].stats);
        }
      },
      [&] { map.clear(); });
}

void mapErase(benchmark::State& state) {
  const auto keys = world().rowKeys();
  std::map<Snmp::String, ConnectivityMonitor::IcmpStats> map;
  timePass(
      state,
      [&] {
        for (std::size_t at = 0; at < keys.size(); ++at) {
          map.emplace(keys[at], world().probes()[at].stats);
        }
      },
      [&] {
        for (const Snmp::String& key : keys) {
          map.erase(key);
        }
      },
      kNothing);
}

void removeAll() {
  world().removeRecords();
  world().sendEvents();
}

void eventInsert(benchmark::State& state) {
  timePass(
      state, [] { world().writeRecords(1.5F); }, [] { world().sendEvents(); }, &removeAll);
}

void eventUnchanged(benchmark::State& state) {
  world().writeRecords(1.5F);
  world().sendEvents();
  timePass(
      state, kNothing, [] { world().sendEvents(); }, kNothing);
}

void eventReplace(benchmark::State& state) {
  float latency = 1;
  timePass(
      state,
      [&] {
        latency += 1;
        world().writeRecords(latency);
      },
      [] { world().sendEvents(); }, kNothing);
}

void eventDelete(benchmark::State& state) {
  timePass(
      state,
      [] {
        world().writeRecords(1.5F);
        world().sendEvents();
        world().removeRecords();
      },
      [] { world().sendEvents(); }, kNothing);
}

/// A new machine over 100,000 records whose rows are there already: both passes and the deletion
/// scan, in slices of the default budget. Its ratio to the map's insertion is told, not judged.
void initialScan(benchmark::State& state) {
  world().writeRecords(1.5F);
  world().sendEvents();
  const auto scheduler = Qiv::make<Ubo::Scheduler>();
  Yex::SmControl control;
  control.taskScheduler = scheduler;
  for (auto unused : state) {
    static_cast<void>(unused);
    const double began = threadCpuSeconds();
    const auto sm = ConnectivityMonitorSnmp::connectivityMonitorSnmpIcmpTableSmFactory(
        world().clientDir(), world().conMonMibRoot(), world().ifMib(), world().vrfRefCount(),
        control);
    sm->hasNotificationActiveIs(true);
    scheduler->runAll();
    if (!sm->ready()) {
      state.SkipWithError("not ready");
    }
    state.SetIterationTime((threadCpuSeconds() - began) / kProbes);
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  for (const auto& [name, function] : {std::pair{"map_insert", &mapInsert},
                                       {"map_erase", &mapErase},
                                       {"event_insert", &eventInsert},
                                       {"event_unchanged", &eventUnchanged},
                                       {"event_replace", &eventReplace},
                                       {"event_delete", &eventDelete},
                                       {"initial_scan", &initialScan}}) {
    benchmark::RegisterBenchmark(name, function)
        ->UseManualTime()
        ->Iterations(1)
        ->Repetitions(5)
        ->ReportAggregatesOnly()
        ->Unit(benchmark::kNanosecond);
  }
  bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\n");
  const bool within = reporter.printRatios({{"event_insert", "map_insert", 4.0},
                                            {"event_unchanged", "map_insert", 4.0},
                                            {"event_replace", "map_insert", 4.0},
                                            {"event_delete", "map_erase", 4.0},
                                            {"initial_scan", "map_insert", bench::kNoBound}});
  return within ? 0 : 1;
}
