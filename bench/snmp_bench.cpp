/// What requests cost the agent, against a GET of a scalar in the same agent, and what a probe
/// costs it in memory. CPU time is the agent's own, user and system.
///
/// usage: snmp_bench AGENT

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "AgentProcess.h"
#include "SnmpLoadClient.h"

namespace {

using bench::AgentProcess;
using bench::Oid;
using bench::Pdu;
using bench::SnmpLoadClient;

const Oid kScalar = {1, 3, 6, 1, 2, 1, 1, 3, 0};  // sysUpTime.0
const Oid kIcmpColumn = {1, 3, 6, 1, 4, 1, 61111, 3, 38, 1, 1, 1, 8};
constexpr std::uint8_t kRepetitions = 25;
// A manager's walk waits for each answer before it asks on.
constexpr unsigned kOneByOne = 1;
// More than one manager at a time: the agent finds the next request when it has answered one, so
// that it neither sleeps nor wakes, which every kind of request costs alike.
constexpr unsigned kBusy = 8;
constexpr std::size_t kPackets = 4000;
// A machine's speed wanders from one tenth of a second to the next, above all a virtual one's. The
// kinds of request, and the agents, take short turns, so that each ratio is taken at one speed.
constexpr std::size_t kTurn = 250;
constexpr std::size_t kRounds = 100;
constexpr std::size_t kRoundsWithoutTarget = 20;
// Two processes of one program differ by one to three hundredths in these ratios for as long as
// they live: their memory lies elsewhere. Odd, so that a median is some process's own figure.
constexpr std::size_t kAgents = 5;
constexpr std::array<std::size_t, 3> kSizes = {1'000, 10'000, 100'000};

std::string icmpLine(std::size_t host) {
  const std::string n = std::to_string(host);
  return R"({"op":"put","host":"host)" + n +
         R"(","probe":"icmp","interface":"eth1","address":"10.)" +
         std::to_string(host >> 16 & 255) + "." + std::to_string(host >> 8 & 255) + "." +
         std::to_string(host & 255) + R"(","latency":12.345,"jitter":0.2,"packetLoss":0})";
}

std::string httpLine(std::size_t host) {
  const std::string name = "host" + std::to_string(host);
  return R"({"op":"put","host":")" + name +
         R"(","probe":"http","interface":"eth1","url":"http://)" + name +
         R"(/","responseTime":25.7})";
}

std::string tcpLine(std::size_t host) {
  std::string line = icmpLine(host);
  line.replace(line.find("icmp"), 4, "tcp");
  line.erase(line.find(R"(,"jitter")"));
  return line + R"(,"port":443})";
}

std::vector<std::string> helloLines() {
  return {R"({"op":"hello","client":"lab"})", R"({"op":"interface","name":"eth1","ifIndex":7})"};
}

/// The instances of one column, in walk order.
std::vector<Oid> walk(SnmpLoadClient& client) {
  std::vector<Oid> instances;
  Oid from = kIcmpColumn;
  while (true) {
    const auto& response = client.ask(Pdu::kGetBulk, {from}, 0, 50);
    for (const auto& varbind : response.varbinds) {
      if (!std::equal(kIcmpColumn.begin(), kIcmpColumn.end(), varbind.name.begin(),
                      varbind.name.begin() + static_cast<std::ptrdiff_t>(std::min(
                                                 kIcmpColumn.size(), varbind.name.size())))) {
        return instances;
      }
      instances.push_back(varbind.name);
    }
    from = instances.back();
  }
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

bool judge(const std::string& what, double value, double atMost, const char* unit = "") {
  const bool met = value <= atMost;
  std::printf("  %-44s %9.3f%s  (at most %.2f: %s)\n", what.c_str(), value, unit, atMost,
              met ? "met" : "MISSED");
  return met;
}

enum Kind : std::size_t { kGetScalar, kGetRow, kGetNextRow, kGetBulkRows, kKinds };
using PerKind = std::array<double, kKinds>;
using Packets = std::array<std::vector<std::string>, kKinds>;

/// An agent with so many rows, and who asks it.
class Subject {
 public:
  Subject(const std::string& program, std::size_t rows)
      : agent_(program), client_(fed(agent_, rows).port(), "public") {
    instances_ = walk(client_);
    if (instances_.size() != rows) {
      throw std::runtime_error("the walk shows " + std::to_string(instances_.size()) + " rows");
    }
  }

  /// Every kind of request asks for the rows at the same places, `place(n)` for the n-th. Bulk
  /// requests stay clear of the column's end.
  template <class Place>
  [[nodiscard]] Packets requests(const Place& place) const {
    Packets packets;
    for (std::size_t at = 0; at < kPackets; ++at) {
      const Oid& name = instances_[place(at) % (instances_.size() - 1 - kRepetitions)];
      packets[kGetScalar].push_back(client_.encode(Pdu::kGet, {kScalar}));
      packets[kGetRow].push_back(client_.encode(Pdu::kGet, {name}));
      packets[kGetNextRow].push_back(client_.encode(Pdu::kGetNext, {name}));
      packets[kGetBulkRows].push_back(client_.encode(Pdu::kGetBulk, {name}, 0, kRepetitions));
    }
    return packets;
  }

  /// CPU seconds that a request of each kind takes, in one turn each.
  PerKind turn(const Packets& packets, std::size_t round, unsigned window) {
    PerKind costs{};
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
      const double began = agent_.cpuSeconds();
      client_.run(std::span(packets[kind]).subspan(round * kTurn % kPackets, kTurn), window);
      costs[kind] = (agent_.cpuSeconds() - began) / static_cast<double>(kTurn);
    }
    return costs;
  }

 private:
  static const AgentProcess& fed(AgentProcess& agent, std::size_t rows) {
    auto lines = helloLines();
    for (std::size_t host = 0; host < rows; ++host) {
      lines.push_back(icmpLine(host));
    }
    lines.emplace_back(R"({"op":"sync"})");
    agent.feed(lines);
    return agent;
  }

  AgentProcess agent_;
  SnmpLoadClient client_;
  std::vector<Oid> instances_;
};

using Subjects = std::vector<std::unique_ptr<Subject>>;  ///< kAgents of each size.

/// What requests cost at one size: the scalar in CPU seconds, the others in scalars.
struct Costs {
  double scalar = 0;
  PerKind ratios{};
  double bulkToSmallest = 0;  ///< A bulk answer against one at the smallest size.
};

/// Medians over the rounds in each agent, and of those over the agents of a size.
template <class Place>
std::array<Costs, kSizes.size()> measure(const Subjects& subjects, unsigned window,
                                         std::size_t rounds, const Place& place) {
  std::vector<Packets> packets;
  for (const auto& subject : subjects) {
    packets.push_back(subject->requests(place));
  }
  std::vector<std::vector<PerKind>> costs(subjects.size());
  for (std::size_t round = 0; round <= rounds; ++round) {
    for (std::size_t at = 0; at < subjects.size(); ++at) {
      const PerKind cost = subjects[at]->turn(packets[at], round, window);
      if (round > 0) {  // The first one warms up.
        costs[at].push_back(cost);
      }
    }
  }

  std::array<Costs, kSizes.size()> result;
  for (std::size_t size = 0; size < kSizes.size(); ++size) {
    const auto overAgents = [&](const auto& value) {
      std::vector<double> agents;
      for (std::size_t agent = 0; agent < kAgents; ++agent) {
        std::vector<double> values;
        for (std::size_t round = 0; round < rounds; ++round) {
          values.push_back(value(costs[size * kAgents + agent][round], costs[agent][round]));
        }
        agents.push_back(median(values));
      }
      return median(agents);
    };
    result[size].scalar = overAgents([](const PerKind& of, auto&) { return of[kGetScalar]; });
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
      result[size].ratios[kind] =
          overAgents([&](const PerKind& of, auto&) { return of[kind] / of[kGetScalar]; });
    }
    result[size].bulkToSmallest = overAgents([](const PerKind& of, const PerKind& small) {
      return of[kGetBulkRows] / small[kGetBulkRows];
    });
  }
  return result;
}

void tell(const char* how, const Costs& costs) {
  std::printf("  %s: scalar %.2f us, GET %.2f, GETNEXT %.2f, GETBULK %.2f (no target)\n", how,
              costs.scalar * 1e6, costs.ratios[kGetRow], costs.ratios[kGetNextRow],
              costs.ratios[kGetBulkRows]);
}

/// True when every target is met.
bool measureRequests(const std::string& program) {
  Subjects subjects;
  for (const std::size_t rows : kSizes) {
    for (std::size_t agent = 0; agent < kAgents; ++agent) {
      subjects.push_back(std::make_unique<Subject>(program, rows));
    }
  }
  // As managers poll: row after row.
  const auto rowAfterRow = [](std::size_t at) { return at; };
  const auto busy = measure(subjects, kBusy, kRounds, rowAfterRow);
  const auto inOrder = measure(subjects, kOneByOne, kRoundsWithoutTarget, rowAfterRow);
  // Each row wherever it may be, which finds nothing of it in the processor's caches.
  std::mt19937_64 random(4711);
  const auto atRandom = measure(subjects, kOneByOne, kRoundsWithoutTarget,
                                [&](std::size_t) { return static_cast<std::size_t>(random()); });

  bool met = true;
  for (std::size_t size = 0; size < kSizes.size(); ++size) {
    const PerKind& ratios = busy[size].ratios;
    std::printf("%zu rows; GET of a scalar: %.2f us of CPU\n", kSizes[size],
                busy[size].scalar * 1e6);
    met = judge("GET of a row / GET of a scalar", ratios[kGetRow], 1.15) && met;
    met = judge("GETNEXT of a row / GET of a scalar", ratios[kGetNextRow], 1.15) && met;
    met = judge("GETBULK of 25 / GET of a scalar", ratios[kGetBulkRows], 3.0) && met;
    tell("one request at a time", inOrder[size]);
    tell("one at a time, rows at random", atRandom[size]);
  }
  return judge("bulk varbind at 100,000 rows / at 1,000", busy.back().bulkToSmallest, 1.2) && met;
}

/// Memory that a probe adds, with `kinds` probes a host.
double bytesPerProbe(const std::string& program, std::size_t hosts, int kinds) {
  AgentProcess agent(program);
  auto lines = helloLines();
  lines.emplace_back(R"({"op":"sync"})");
  agent.feed(lines);
  const std::size_t before = agent.anonymousBytes();
  lines.clear();
  std::size_t probes = 0;
  const auto flush = [&] {
    lines.emplace_back(R"({"op":"sync"})");
    agent.feed(lines);
    lines.clear();
  };
  for (std::size_t host = 0; host < hosts; ++host) {
    lines.push_back(icmpLine(host));
    if (kinds == 3) {
      lines.push_back(httpLine(host));
      lines.push_back(tcpLine(host));
    }
    probes += static_cast<std::size_t>(kinds);
    if (lines.size() > 1000) {
      flush();
    }
  }
  flush();
  return static_cast<double>(agent.anonymousBytes() - before) / static_cast<double>(probes);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: snmp_bench AGENT\n");
    return 2;
  }
  const std::string program = argv[1];
  try {
    bool met = measureRequests(program);
    std::printf("Memory of 99,999 probes\n");
    met =
        judge("three kinds of probe a host", bytesPerProbe(program, 33'333, 3), 700, " B/probe") &&
        met;
    std::printf("  %-44s %8.2f B/probe\n", "one probe a host (no target)",
                bytesPerProbe(program, 99'999, 1));
    return met ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "snmp_bench: %s\n", error.what());
    return 1;
  }
}
