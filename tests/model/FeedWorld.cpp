#include <fmt/format.h>

#include <array>
#include <chrono>
#include <deque>
#include <memory>
#include <string_view>
#include <utility>

#include "AgentForTest.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpAgent.h"
#include "Difference.h"
#include "Policy.h"
#include "Shown.h"
#include "Snmp/CentrumUtil.h"
#include "Worlds.h"
#include "agent/feed/ClientRegistry.h"
#include "agent/feed/RecordBook.h"
#include "agent/feed/Session.h"
#include "agent/plugin/StartGate.h"
#include "agent/store/StoreFeed.h"

namespace Model {

namespace {

/// A line that was sent and not answered yet.
struct Sent {
  enum class What : std::uint8_t { kHello, kChange, kSync, kNonsense };
  What what = What::kNonsense;
  Connect hello;
  Change change;
};

class World {
 public:
  explicit World(const History& history);
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  ~World();

  Figures run();

 private:
  struct Connection {
    std::unique_ptr<Agent::Session> session;  ///< Null while it is closed.
    std::string client;                       ///< Empty before hello.
    bool closing = false;                     ///< The other end has gone.
    std::deque<std::string> outbox;
    std::deque<Sent> unanswered;
    std::uint64_t lastAccepted = 0;  ///< Position of its last change.
  };
  /// The registry's rules, by client.
  struct Presence {
    unsigned connections = 0;
    std::optional<unsigned> holdSeconds;
    std::optional<Agent::Clock::time_point> expiry;
  };

  void step(const Connect& connect);
  void step(const Disconnect& disconnect);
  void step(const Send& send);
  void step(const SendSync& sync);
  void step(const SendNonsense& nonsense);
  void step(const Kernel& kernel);
  void step(const ReplaceAgent& replace);
  void step(const Tick& tick);
  void step(const Turn& turn);
  void step(const Look& look);
  void step(const Settle& settle);

  void send(unsigned connection, std::string line, Sent sent);
  void pump(Connection& connection);
  void answered(Connection& connection, std::string_view answer);
  void leave(Connection& connection);
  void accepted(Change change);
  void gateTurn();
  [[nodiscard]] bool atRest();
  void settle();

  void follow();
  void compareAll();
  void compareMidWay(const Reference& before, const Reference& after, const Reference& untouched);
  void compareClients() const;
  [[nodiscard]] ConnectivityMonitorSnmp::ConnectivityMonitorSnmpAgent* pluginAgent() const;
  [[nodiscard]] Counts countsShown() const;

  const History& history_;
  Figures figures_;
  Policy policy_{history_.yield, history_.seed};

  // The process.
  Agent::Clock::time_point now_{std::chrono::hours(1)};
  Ubo::Scheduler::Ptr scheduler_ = Ubo::findOrCreateScheduler(Ubo::kDefaultScheduler);
  Qiv::Dir::Ptr root_ = Qiv::make<Qiv::Dir>("");
  Agent::PluginInputs inputs_{Qiv::dirAt(root_, "connectivityMonitor/status"),
                              Qiv::dirAt(root_, "snmp/connectivityMonitor/conMonMib"),
                              Qiv::make<IntfSnmp::IfMib>()};
  std::unique_ptr<Agent::PluginHost> plugin_;
  std::unique_ptr<Agent::StoreFeed> store_;
  std::unique_ptr<Agent::RecordBook> book_;
  Agent::OperationQueue queue_{history_.queueCapacity};
  std::unique_ptr<Agent::Applier> applier_;
  std::unique_ptr<Agent::StartGate> gate_;
  Agent::ClientRegistry registry_{[this] { return now_; },
                                  [this](const Pomel::String& client) {
                                    queue_.push({client, Agent::RemoveClient{}});
                                  }};
  std::array<Connection, kConnections> connections_;

  // What it ought to be.
  Reference applied_{history_.countCeiling};  ///< After followed_ changes.
  std::deque<Change> ahead_;                  ///< Accepted, and not in applied_ yet.
  std::uint64_t followed_ = 0;
  std::uint64_t accepted_ = 0;
  std::map<std::string, Presence> presences_;
  std::uint64_t replacements_ = 0;
  bool synced_ = false;  ///< A sync was answered: now is the time to look.
};

World::World(const History& history) : history_(history) {
  static_cast<void>(AgentForTest::Agent::instance());
  scheduler_->yieldPolicyIs(std::make_unique<Policy>(history.yield, history.seed + 1));
  Snmp::CentrumUtil::agentRootIs(root_);
  plugin_ = std::make_unique<Agent::PluginHost>(CONMON_PLUGIN,
                                                Qiv::dirAt(root_, "snmp/connectivityMonitor"));
  store_ = std::make_unique<Agent::StoreFeed>(
      inputs_.clientDir, inputs_.ifMib,
      [this](const Pomel::String& vrf, std::uint32_t count) { plugin_->vrfCountIs(vrf, count); });
  book_ = std::make_unique<Agent::RecordBook>(
      *store_, [](const std::string&) {}, history.countCeiling);
  applier_ = std::make_unique<Agent::Applier>(queue_, *book_);
  gate_ = std::make_unique<Agent::StartGate>(*plugin_, inputs_, scheduler_, *book_, *applier_);
  gate_->start();
  prioritiesAre(*pluginAgent(), history_, scheduler_);
}

World::~World() {
  for (Connection& connection : connections_) {
    connection.session = nullptr;
  }
  plugin_ = nullptr;
  scheduler_->runAll();
  endContexts();
  Snmp::CentrumUtil::agentRootIs(nullptr);
}

ConnectivityMonitorSnmp::ConnectivityMonitorSnmpAgent* World::pluginAgent() const {
  const auto root = Qiv::ptrCast<ConnectivityMonitorSnmp::Root>(
      Qiv::dirAt(root_, "snmp/connectivityMonitor")->entityPtr("connectivityMonitorSnmp"));
  return root->connectivityMonitorSnmpAgent().get();
}

Figures World::run() {
  for (const Step& each : history_.steps) {
    ++figures_.steps;
    std::visit([&](const auto& what) { step(what); }, each);
    follow();
  }
  step(Settle{});
  for (const std::string& vrf : applied_.contexts()) {
    walkAgainst(applied_.rows(), vrf);
  }
  return figures_;
}

// Steps

void World::send(unsigned connection, std::string line, Sent sent) {
  Connection& to = connections_[connection];
  if (to.session && !to.closing) {
    to.outbox.push_back(std::move(line) + '\n');
    to.unanswered.push_back(std::move(sent));
  }
}

void World::step(const Connect& connect) {
  Connection& connection = connections_[connect.connection];
  if (connection.session) {
    return;
  }
  connection = {};
  connection.session = std::make_unique<Agent::Session>(registry_, queue_);
  if (connect.hello) {
    send(connect.connection, lineOf(connect), {Sent::What::kHello, connect, {}});
  }
}

void World::step(const Disconnect& disconnect) {
  Connection& connection = connections_[disconnect.connection];
  if (!connection.session || connection.closing) {
    return;
  }
  connection.closing = true;
  // What the transport had not taken yet is lost with the connection.
  connection.unanswered.resize(connection.unanswered.size() - connection.outbox.size());
  connection.outbox.clear();
  connection.session->inputEnded(Agent::Session::End::kClosed);
  pump(connection);
}

void World::step(const Send& send) {
  this->send(send.connection, lineOf(send.change), {Sent::What::kChange, {}, send.change});
}

void World::step(const SendSync& sync) {
  send(sync.connection, R"({"op":"sync"})", {Sent::What::kSync, {}, {}});
}

void World::step(const SendNonsense& nonsense) {
  send(nonsense.connection, R"({"op":"put","probe":"icmp"})", {Sent::What::kNonsense, {}, {}});
}

void World::step(const Kernel& kernel) {
  queue_.push({"", Agent::SetInterface{kernel.set.name, kernel.set.ifIndex}});
  accepted({"", kernel.set});
}

void World::step(const ReplaceAgent& /*replace*/) { gate_->replaceAgent(); }

void World::step(const Tick& tick) {
  now_ += std::chrono::milliseconds(tick.milliseconds);
  const auto next = registry_.nextExpiry();
  const bool due = next && *next <= now_;
  bool expected = false;
  std::erase_if(presences_, [&](const auto& entry) {
    const bool over = entry.second.expiry && *entry.second.expiry <= now_;
    if (over) {
      accepted({entry.first, RemoveClient{}});
    }
    expected = expected || over;
    return over;
  });
  require(due == expected, "a hold time ends at another moment");
  if (due) {
    registry_.expire();
  }
}

void World::step(const Turn& turn) {
  switch (turn.part) {
    case Part::kApplier:
      applier_->work(policy_);
      break;
    case Part::kGate:
      gateTurn();
      break;
    case Part::kScheduler:
      if (scheduler_->hasWork()) {
        scheduler_->runSlice();
      }
      break;
    case Part::kConnection:
      pump(connections_[turn.connection]);
      break;
  }
}

void World::step(const Look& /*look*/) {
  require(accepted_ == queue_.accepted(), "the queue took another number of changes");
  const std::uint64_t begun = queue_.accepted() - queue_.waiting();
  compareClients();
  if (queue_.appliedUpTo() == begun) {
    compareAll();
    return;
  }
  ++figures_.looksMidWay;
  const bool underWay = begun > followed_;
  if (underWay) {
    Reference after = applied_;
    after.apply(ahead_.front());
    compareMidWay(applied_, after, applied_.without(ahead_.front()));
  } else {
    // All is being withdrawn, or published again.
    compareMidWay(applied_, applied_, Reference(history_.countCeiling));
  }
}

void World::step(const Settle& /*settle*/) {
  settle();
  step(Look{});
  for (const Connection& connection : connections_) {
    require(connection.unanswered.empty(), "a line was never answered");
  }
}

// The process

void World::pump(Connection& connection) {
  if (!connection.session) {
    return;
  }
  Agent::Session& session = *connection.session;
  while (!connection.outbox.empty() && session.wantsInput()) {
    session.receive(connection.outbox.front());
    connection.outbox.pop_front();
  }
  if (session.hasWork()) {
    session.work(policy_);
  }
  for (std::size_t end; (end = session.output().find('\n')) != std::string_view::npos;) {
    answered(connection, session.output().substr(0, end));
    session.outputTaken(end + 1);
  }
  if (std::exchange(synced_, false)) {
    follow();
    step(Look{});
  }
  if (session.finished()) {
    leave(connection);
  }
}

void World::answered(Connection& connection, std::string_view answer) {
  require(!connection.unanswered.empty(), "an answer to nothing");
  Sent sent = std::move(connection.unanswered.front());
  connection.unanswered.pop_front();
  const bool known = !connection.client.empty();
  const bool expected =
      sent.what != Sent::What::kNonsense && known == (sent.what != Sent::What::kHello);
  const bool taken = answer == R"({"ok":true})";
  if (taken != expected) {
    throw Difference(fmt::format("answer {}", answer));
  }
  if (!taken) {
    return;
  }
  switch (sent.what) {
    case Sent::What::kHello: {
      connection.client = sent.hello.client;
      Presence& presence = presences_[sent.hello.client];
      ++presence.connections;
      presence.holdSeconds = sent.hello.holdSeconds;
      presence.expiry.reset();
      break;
    }
    case Sent::What::kChange:
      sent.change.client = connection.client;
      accepted(std::move(sent.change));
      connection.lastAccepted = accepted_;
      break;
    case Sent::What::kSync:
      require(queue_.appliedUpTo() >= connection.lastAccepted, "a sync is answered too soon");
      synced_ = true;
      break;
    case Sent::What::kNonsense:
      break;
  }
}

void World::leave(Connection& connection) {
  connection.session = nullptr;
  const auto at = presences_.find(connection.client);
  if (at == presences_.end() || --at->second.connections > 0) {
    return;
  }
  if (!at->second.holdSeconds) {
    presences_.erase(at);
    return;
  }
  at->second.expiry = now_ + std::chrono::seconds(*at->second.holdSeconds);
}

void World::accepted(Change change) {
  ahead_.push_back(std::move(change));
  ++accepted_;
  ++figures_.changes;
}

void World::gateTurn() {
  if (!gate_->hasWork()) {
    return;
  }
  gate_->work(policy_);
  if (gate_->replacements() != replacements_) {
    replacements_ = gate_->replacements();
    ++figures_.replacements;
    follow();
    applied_.agentReplaced();
    prioritiesAre(*pluginAgent(), history_, scheduler_);
  }
}

bool World::atRest() {
  for (Connection& connection : connections_) {
    if (connection.session && (!connection.outbox.empty() || connection.session->hasWork())) {
      return false;
    }
  }
  return gate_->open() && !gate_->hasWork() && !applier_->hasWork() && !scheduler_->hasWork();
}

void World::settle() {
  constexpr int kRounds = 100'000;
  for (int round = 0; !atRest(); ++round) {
    require(round < kRounds, "the process does not come to rest");
    for (Connection& connection : connections_) {
      pump(connection);
    }
    if (scheduler_->hasWork()) {
      scheduler_->runSlice();
    }
    gateTurn();
    follow();
    applier_->work(policy_);
  }
  follow();
}

// The comparison

/// Brings the reference to the last change that was applied as a whole.
void World::follow() {
  const std::uint64_t begun = queue_.accepted() - queue_.waiting();
  // While records are withdrawn nothing counts as applied, but then no change is under way.
  const std::uint64_t upTo = queue_.appliedUpTo();
  const std::uint64_t target = upTo + 1 == begun ? upTo : begun;
  for (; followed_ < target; ++followed_) {
    require(!ahead_.empty(), "more was applied than was accepted");
    applied_.apply(ahead_.front());
    ahead_.pop_front();
  }
}

Counts World::countsShown() const {
  Counts all;
  for (const auto& [vrf, count] : pluginAgent()->vrfRefCount()->vrfRefCount()) {
    all[vrf.stdString()] = count;
  }
  return all;
}

template <class Sm>
std::map<std::string, std::size_t> backlogOf(const Sm& machine) {
  std::map<std::string, std::size_t> all;
  for (const auto& [interface, set] : machine.localAttrStore()->intfToStatsBacklog()) {
    all[interface.stringValue().stdString()] = set->infos().size();
  }
  return all;
}

void World::compareAll() {
  ++figures_.looks;
  const Shown is = shown(*inputs_.conMonMibRoot);
  const Rows expected = applied_.rows();
  compareRows(is.rows, expected);
  figures_.rowsCompared += expected.size();
  require(is.contexts == applied_.contexts(), "other VRFs are served");
  const Counts counts = countsShown();
  if (counts != applied_.counts()) {
    std::string both;
    for (const auto& [vrf, count] : applied_.counts()) {
      both += fmt::format(" {}: {} for {}", vrf, counts.contains(vrf) ? counts.at(vrf) : 0, count);
    }
    throw Difference("VRFs are counted otherwise:" + both);
  }
  require(book_->ledger().size() == applied_.records(), "another number of records");
  const auto& agent = *pluginAgent();
  require(backlogOf(*agent.connectivityMonitorTableIcmpSm()) == applied_.waiting(Kind::kIcmp) &&
              backlogOf(*agent.connectivityMonitorTableHttpSm()) == applied_.waiting(Kind::kHttp) &&
              backlogOf(*agent.connectivityMonitorTableTcpSm()) == applied_.waiting(Kind::kTcp),
          "other records wait for an interface's index");
}

void World::compareMidWay(const Reference& before, const Reference& after,
                          const Reference& untouched) {
  const Shown is = shown(*inputs_.conMonMibRoot);
  const auto old = before.candidates();
  const auto coming = after.candidates();
  const auto isOneOf = [](const auto& all, const RowId& id, const Row& row) {
    const auto at = all.find(id);
    return at != all.end() && std::ranges::find(at->second, row) != at->second.end();
  };
  std::map<std::string, std::uint32_t> rows;
  for (const auto& [id, row] : is.rows) {
    ++rows[id.vrf];
    if (!isOneOf(old, id, row) && !isOneOf(coming, id, row)) {
      throw Difference("mid-way, " + describe(id) + " is of no record");
    }
  }
  for (const auto& [id, row] : untouched.rows()) {
    if (!is.rows.contains(id)) {
      throw Difference("mid-way, " + describe(id) + " is missing");
    }
  }
  figures_.rowsCompared += is.rows.size();
  const Counts counts = countsShown();
  for (const auto& [vrf, number] : rows) {
    if (!counts.contains(vrf)) {
      throw Difference(fmt::format("mid-way, VRF {} has rows and no count", vrf));
    }
  }
  for (const auto& [vrf, count] : counts) {
    require(is.contexts.contains(vrf), "mid-way, a VRF is counted and not served");
  }
  for (const std::string& vrf : is.contexts) {
    require(counts.contains(vrf) || before.contexts().contains(vrf),
            "mid-way, a VRF is served and not counted");
  }
}

void World::compareClients() const {
  std::map<std::string, unsigned> connected;
  for (const auto& [name, client] : registry_.clients()) {
    connected[name.stdString()] = client.connections;
    const auto at = presences_.find(name.stdString());
    require(at != presences_.end() && at->second.expiry == client.expiry,
            "a client's hold time ends at another moment");
  }
  for (const auto& [name, presence] : presences_) {
    require(connected[name] == presence.connections, "a client has other connections");
  }
}

}  // namespace

Figures runFeedWorld(const History& history) { return World(history).run(); }

}  // namespace Model
