#include "agent/Process.h"

#include <list>
#include <optional>

#include "Snmp/CentrumUtil.h"
#include "agent/LimitedLog.h"
#include "agent/ServiceManager.h"
#include "agent/Signals.h"
#include "agent/TraceOutput.h"
#include "agent/control/ControlDesk.h"
#include "agent/feed/FeedFile.h"
#include "agent/feed/FeedServer.h"
#include "agent/feed/FeedWork.h"
#include "agent/interfaces/InterfaceWatcher.h"
#include "agent/plugin/SchedulerWork.h"
#include "agent/plugin/StartGate.h"
#include "agent/snmp/ContextCommunities.h"
#include "agent/snmp/SnmpEndpoint.h"
#include "agent/store/StoreFeed.h"

namespace Agent {

namespace {

/// Feed changes that may wait: enough to be worth a batch, little against the records themselves.
constexpr std::size_t kQueueCapacity = 4096;

SnmpSettings snmpSettings(const Settings& settings) {
  SnmpSettings snmp;
  if (!settings.agentx) {
    snmp.listen = settings.listen.value_or(std::vector{std::string(kDefaultListen)});
  }
  snmp.agentx = settings.agentx;
  snmp.conf = settings.snmpConf;
  snmp.maxRepetitions = settings.maxRepetitions.value_or(kDefaultMaxRepetitions);
  snmp.maxVarbinds = settings.maxVarbinds.value_or(kDefaultMaxVarbinds);
  return snmp;
}

/// The state store's directories that meet the outside.
struct Store {
  Qiv::Dir::Ptr root = Qiv::make<Qiv::Dir>("");
  PluginInputs inputs = pluginInputsAt(root);

  Store() {
    Qiv::dirAt(root, "snmp")->entityIs("ifMib", inputs.ifMib);
    Snmp::CentrumUtil::agentRootIs(root);
  }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store() { Snmp::CentrumUtil::agentRootIs(nullptr); }
};

}  // namespace

void runAgent(const Settings& settings, const Log& log) {
  const auto warn = log.at(Severity::kWarning);
  // What a peer can cause as often as it likes. Each has its own limit: a flood of one hides no
  // other.
  LimitedLog feedLog(warn, "the feed");
  LimitedLog feedHelloLog(log.at(Severity::kNotice), "feed clients");
  LimitedLog feedClientLog(log.at(Severity::kInfo), "feed connections");
  LimitedLog snmpLog(warn, "SNMP");
  const auto budget = settings.sliceBudget.value_or(Ubo::kSliceBudget);
  const TraceOutput trace(settings.trace.value_or(TraceLevels()), settings.traceFile);
  EventLoop loop(budget);
  std::optional<StartGate> gate;
  const Signals signals(loop, [&gate] { gate->replaceAgent(); });

  const auto scheduler = Ubo::findOrCreateScheduler(Ubo::kDefaultScheduler);
  scheduler->yieldPolicyIs(std::make_unique<Ubo::DeadlinePolicy>(budget));
  SchedulerWork schedulerWork(scheduler);

  // Requests may come in as soon as the sockets are open; until records flow they find empty
  // tables.
  SnmpEndpoint snmp(snmpSettings(settings), snmpLog.writer());
  std::optional<ContextCommunities> communities;
  if (!settings.agentx) {
    communities.emplace(settings.community.value_or(std::string(kDefaultCommunity)));
  }

  const Store store;
  PluginHost plugin(settings.plugin.value_or(defaultPlugin()),
                    Qiv::dirAt(store.root, "snmp/connectivityMonitor"));
  StoreFeed storeFeed(
      store.inputs.clientDir, store.inputs.ifMib,
      [&plugin](const Pomel::String& vrf, std::uint32_t count) { plugin.vrfCountIs(vrf, count); });
  RecordBook book(storeFeed, feedLog.writer());
  OperationQueue queue(kQueueCapacity,
                       ContextLimit(settings.maxContexts.value_or(ContextLimit::kDefault)));
  Applier applier(queue, book);
  ApplierWork applierWork(applier);
  gate.emplace(plugin, store.inputs, scheduler, book, applier);

  ClientRegistry clients(&Clock::now, [&queue](const Pomel::String& client) {
    queue.push({client, RemoveClient{}});
  });
  HoldTimer holdTimer(clients);
  ControlDesk desk({store.root, book, clients, queue, *gate});
  std::optional<FeedServer> server;
  if (settings.feed) {
    server.emplace(loop, *settings.feed, clients, queue, &desk, feedLog.writer(),
                   feedHelloLog.writer(), feedClientLog.writer());
    loop.workAdd(*server);
    loop.timerAdd(*server);
  }
  std::list<FeedFile> files;
  for (const std::string& path : settings.feedFiles.value_or(std::vector<std::string>())) {
    loop.workAdd(files.emplace_back(path, clients, queue, feedLog.writer()));
  }

  std::optional<InterfaceWatcher> interfaces;
  if (settings.interfaces.value_or(Interfaces::kKernel) == Interfaces::kKernel) {
    interfaces.emplace(loop, queue, warn);
    watchAll(*interfaces, settings.netnsVrfs.value_or(NetnsVrfs()));
    loop.workAdd(*interfaces);
    loop.timerAdd(*interfaces);
  }

  loop.requestSourceIs(snmp);
  loop.workAdd(schedulerWork);
  loop.workAdd(*gate);
  loop.workAdd(applierWork);
  loop.timerAdd(holdTimer);
  ServiceManager serviceManager(*gate, Clock::now());
  loop.workAdd(serviceManager);
  loop.timerAdd(serviceManager);
  for (LimitedLog* limited : {&feedLog, &feedHelloLog, &feedClientLog, &snmpLog}) {
    loop.timerAdd(*limited);
  }
  gate->start();
  loop.run();
}

}  // namespace Agent
