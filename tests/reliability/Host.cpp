#include "Host.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "Snmp/CentrumUtil.h"
#include "agent/StartError.h"
#include "agent/plugin/PluginHost.h"
#include "agent/plugin/SchedulerWork.h"
#include "agent/snmp/ContextCommunities.h"
#include "agent/snmp/SnmpEndpoint.h"
#include "agent/store/StoreFeed.h"

namespace reliability {

namespace {

Agent::ProbeKey probeKeyOf(const Probe& probe) {
  Agent::Target target = Agent::HttpTarget{urlOf(probe.host)};
  const auto address = [&] { return *Lintu::IpGenAddr::parse(addressOf(probe.host)); };
  if (probe.kind == 0) {
    target = Agent::IcmpTarget{address()};
  } else if (probe.kind == 2) {
    target = Agent::TcpTarget{address(), kPort};
  }
  return {{hostName(probe.host), Agent::kDefaultVrf}, "", target};
}

/// The host's steps, between requests.
class Steps final : public Agent::Work {
 public:
  Steps(Agent::EventLoop& loop, Agent::PluginHost& plugin, const Agent::PluginInputs& inputs,
        Agent::FeedStore& store, const std::vector<Probe>& probes, int commands, int reports)
      : loop_(loop),
        plugin_(plugin),
        inputs_(inputs),
        store_(store),
        probes_(probes),
        commands_(commands),
        reports_(reports),
        watch_(loop, commands, [this](Agent::EventLoop::Ready) { heard(); }) {
    watch_.interestIs(true, false);
  }

  void report(char what) const {
    if (::write(reports_, &what, 1) != 1) {
      loop_.stop();
    }
  }

  bool hasWork() override { return removing_ || (starting_ && plugin_.ready()); }
  void work(Ubo::YieldPolicy& yield) override {
    if (starting_) {
      starting_ = false;
      report(kReady);
      return;
    }
    while (next_ < probes_.size()) {
      const Probe& probe = probes_[next_++];
      if (isChanging(probe.host)) {
        store_.recordDel(kClient, probeKeyOf(probe));
      }
      if (yield.shouldYield()) {
        return;
      }
    }
    removing_ = false;
    start();
    report(kStarted);
  }

 private:
  void heard() {
    char command = 0;
    if (::read(commands_, &command, 1) != 1) {
      loop_.stop();
      return;
    }
    if (again_) {
      plugin_.stop();
      removing_ = true;
    } else {
      again_ = true;
      start();
    }
  }
  void start() {
    plugin_.start(inputs_);
    starting_ = true;
  }

  Agent::EventLoop& loop_;
  Agent::PluginHost& plugin_;
  const Agent::PluginInputs& inputs_;
  Agent::FeedStore& store_;
  const std::vector<Probe>& probes_;
  int commands_;
  int reports_;
  bool again_ = false;
  bool starting_ = false;
  bool removing_ = false;
  std::size_t next_ = 0;
  Agent::EventLoop::Watch watch_;
};

void serve(const std::string& plugin, std::uint16_t port, const std::vector<Probe>& probes,
           int commands, int reports) {
  Agent::EventLoop loop(Ubo::kSliceBudget);
  const auto scheduler = Ubo::findOrCreateScheduler(Ubo::kDefaultScheduler);
  scheduler->yieldPolicyIs(std::make_unique<Ubo::DeadlinePolicy>(Ubo::kSliceBudget));
  Agent::SchedulerWork schedulerWork(scheduler);
  Agent::SnmpEndpoint snmp(
      {{"udp:127.0.0.1:" + std::to_string(port)}, std::nullopt, "public", std::nullopt},
      [](const std::string& line) { std::fprintf(stderr, "host: %s\n", line.c_str()); });
  Agent::ContextCommunities communities("public");
  const Qiv::Dir::Ptr root = Qiv::make<Qiv::Dir>("");
  Snmp::CentrumUtil::agentRootIs(root);
  {
    const Agent::PluginInputs inputs = Agent::pluginInputsAt(root);
    Agent::PluginHost host(plugin, Qiv::dirAt(root, "snmp/connectivityMonitor"));
    Agent::StoreFeed store(inputs.clientDir, inputs.ifMib, [](const auto&, std::uint32_t) {});
    Agent::Measurements measured;
    measured.latency = 1.5F;
    measured.responseTime = 1.5F;
    for (const Probe& probe : probes) {
      store.recordIs(kClient, probeKeyOf(probe), measured);
    }
    Steps steps(loop, host, inputs, store, probes, commands, reports);
    loop.requestSourceIs(snmp);
    loop.workAdd(schedulerWork);
    loop.workAdd(steps);
    steps.report(kServing);
    loop.run();
  }
  Snmp::CentrumUtil::agentRootIs(nullptr);
}

}  // namespace

int runHost(const std::string& plugin, std::uint16_t port, const std::vector<Probe>& probes,
            int commands, int reports) {
  try {
    serve(plugin, port, probes, commands, reports);
    return EXIT_SUCCESS;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "host: %s\n", error.what());
    return EXIT_FAILURE;
  }
}

}  // namespace reliability
