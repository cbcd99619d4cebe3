/// Four managers walk a running agent while rows are updated, removed and brought back under them.
///
/// usage: conmon-churn AGENT [--rows N] [--changes-per-second N] [--seconds N] [--seed N]
///                     [--judge-memory]

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <thread>

#include "AgentProcess.h"
#include "Managers.h"
#include "Rows.h"

namespace reliability {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

struct Options {
  std::string agent;
  std::size_t rows = 50'000;
  std::size_t changesPerSecond = 2'000;
  double seconds = 120;
  std::uint64_t seed = 1;
  bool judgeMemory = false;
};

/// What the memory may grow by after it has settled: allocators keep a little, and the churning
/// rows are not always as many.
constexpr double kGrowth = 0.03;

constexpr std::size_t kBatch = 500;

void feedAll(bench::AgentProcess& agent, const std::vector<Probe>& probes) {
  std::vector<std::string> lines = {fmt::format(R"({{"op":"hello","client":"{}"}})", kClient)};
  for (const Probe& probe : probes) {
    lines.push_back(putLine(probe, 1.5));
    if (lines.size() >= kBatch) {
      agent.feed(lines);
      lines.clear();
    }
  }
  lines.emplace_back(R"({"op":"sync"})");
  agent.feed(lines);
}

/// Feeds changes at the rate until the time is over or a manager failed. Returns the memory when
/// the first quarter was over.
std::size_t turnOver(bench::AgentProcess& agent, Turnover& turnover, const Managers& managers,
                     const Options& options) {
  const auto start = Clock::now();
  const auto end = start + Seconds(options.seconds);
  const auto warm = start + Seconds(options.seconds / 4);
  std::size_t warmBytes = 0;
  std::size_t sent = 0;
  for (auto now = start; now < end && !managers.failed(); now = Clock::now()) {
    if (warmBytes == 0 && now >= warm) {
      warmBytes = agent.anonymousBytes();
    }
    const auto due = static_cast<std::size_t>(Seconds(now - start).count() *
                                              static_cast<double>(options.changesPerSecond));
    if (due <= sent) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      continue;
    }
    std::vector<std::string> lines;
    for (; sent < due && lines.size() < kBatch; ++sent) {
      lines.push_back(turnover.next());
    }
    agent.feed(lines);
  }
  if (warmBytes == 0) {
    warmBytes = agent.anonymousBytes();
  }
  const double took = Seconds(Clock::now() - start).count();
  const auto [updates, removals, returns] = turnover.counts();
  fmt::print("  {} changes in {:.1f} s, {:.0f} a second: {} updates, {} removals, {} returns\n",
             sent, took, static_cast<double>(sent) / took, updates, removals, returns);
  return warmBytes;
}

void churn(const Options& options) {
  const std::vector<Probe> probes = probesOf(options.rows);
  const Rows rows = rowsOf(probes);
  fmt::print("{} rows, {} changes a second for {:g} s, seed {}\n", probes.size(),
             options.changesPerSecond, options.seconds, options.seed);
  bench::AgentProcess agent(options.agent);
  feedAll(agent, probes);
  Turnover turnover(probes, options.seed);
  std::size_t warmBytes = 0;
  {
    Managers managers(agent.port(), rows, 0);
    warmBytes = turnOver(agent, turnover, managers, options);
    managers.stop();
    fmt::print("  {} whole walks, {} varbinds\n", managers.walks(), managers.varbinds());
  }
  const std::size_t endBytes = agent.anonymousBytes();
  agent.feed({R"({"op":"sync"})"});
  expectExactly(agent.port(), turnover.rows());
  constexpr double kMegabyte = 1024 * 1024;
  const double growth = static_cast<double>(endBytes) / static_cast<double>(warmBytes) - 1;
  fmt::print("  memory {:.1f} MB after a quarter of the time, {:.1f} MB at the end ({:+.2f} %)\n",
             static_cast<double>(warmBytes) / kMegabyte, static_cast<double>(endBytes) / kMegabyte,
             100 * growth);
  if (options.judgeMemory && growth > kGrowth) {
    throw std::runtime_error("the agent's memory grows");
  }
  if (const int status = agent.end(); status != 0) {
    throw std::runtime_error(fmt::format("the agent ended with {}", status));
  }
  fmt::print("  the last walk is exact, and the agent ended well\n");
}

}  // namespace
}  // namespace reliability

int main(int argc, char** argv) {
  reliability::Options options;
  CLI::App app("Walks a running agent while its rows change.", "conmon-churn");
  app.add_option("agent", options.agent, "Path of conmon-snmpd")->required();
  app.add_option("--rows", options.rows, "Rows, a fifth of which come and go")
      ->check(CLI::Range(15, 10'000'000));
  app.add_option("--changes-per-second", options.changesPerSecond, "Updates, removals and returns");
  app.add_option("--seconds", options.seconds, "How long");
  app.add_option("--seed", options.seed, "Of the changes");
  app.add_flag("--judge-memory", options.judgeMemory,
               "Fail when memory grows; for minutes without a sanitizer");
  CLI11_PARSE(app, argc, argv);
  try {
    reliability::churn(options);
    return 0;
  } catch (const std::exception& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "conmon-churn: %s\n", error.what());
    return 1;
  }
}
