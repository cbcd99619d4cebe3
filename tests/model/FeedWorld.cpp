#include "FeedWorld.h"

#include <fmt/format.h>

#include <utility>

#include "Difference.h"
#include "Shown.h"
#include "Snmp/CentrumUtil.h"

namespace Model {

FeedWorld::FeedWorld(const History& history) : history_(history) {
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

FeedWorld::~FeedWorld() {
  for (Connection& connection : connections_) {
    connection.session = nullptr;
  }
  plugin_ = nullptr;
  scheduler_->runAll();
  endContexts();
  Snmp::CentrumUtil::agentRootIs(nullptr);
}

ConnectivityMonitorSnmp::ConnectivityMonitorSnmpAgent* FeedWorld::pluginAgent() const {
  const auto root = Qiv::ptrCast<ConnectivityMonitorSnmp::Root>(
      Qiv::dirAt(root_, "snmp/connectivityMonitor")->entityPtr("connectivityMonitorSnmp"));
  return root->connectivityMonitorSnmpAgent().get();
}

Figures FeedWorld::run() {
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

void FeedWorld::send(unsigned connection, std::string line, Sent sent) {
  Connection& to = connections_[connection];
  if (to.session && !to.closing) {
    to.outbox.push_back(std::move(line) + '\n');
    to.unanswered.push_back(std::move(sent));
  }
}

void FeedWorld::step(const Connect& connect) {
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

void FeedWorld::step(const Disconnect& disconnect) {
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

void FeedWorld::step(const Send& send) {
  this->send(send.connection, lineOf(send.change), {Sent::What::kChange, {}, send.change});
}

void FeedWorld::step(const SendSync& sync) {
  send(sync.connection, R"({"op":"sync"})", {Sent::What::kSync, {}, {}});
}

void FeedWorld::step(const SendNonsense& nonsense) {
  send(nonsense.connection, R"({"op":"put","probe":"icmp"})", {Sent::What::kNonsense, {}, {}});
}

void FeedWorld::step(const Kernel& kernel) {
  queue_.push({"", Agent::SetInterface{kernel.set.name, kernel.set.ifIndex}});
  accepted({"", kernel.set});
}

void FeedWorld::step(const ReplaceAgent& /*replace*/) { gate_->replaceAgent(); }

void FeedWorld::step(const Tick& tick) {
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

void FeedWorld::step(const Turn& turn) {
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

void FeedWorld::step(const Look& /*look*/) {
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

void FeedWorld::step(const Settle& /*settle*/) {
  settle();
  step(Look{});
  for (const Connection& connection : connections_) {
    require(connection.unanswered.empty(), "a line was never answered");
  }
}

// The process

void FeedWorld::pump(Connection& connection) {
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

void FeedWorld::answered(Connection& connection, std::string_view answer) {
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

void FeedWorld::leave(Connection& connection) {
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

void FeedWorld::accepted(Change change) {
  ahead_.push_back(std::move(change));
  ++accepted_;
  ++figures_.changes;
}

void FeedWorld::gateTurn() {
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

bool FeedWorld::atRest() {
  for (Connection& connection : connections_) {
    if (connection.session && (!connection.outbox.empty() || connection.session->hasWork())) {
      return false;
    }
  }
  return gate_->open() && !gate_->hasWork() && !applier_->hasWork() && !scheduler_->hasWork();
}

void FeedWorld::settle() {
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

Figures runFeedWorld(const History& history) { return FeedWorld(history).run(); }

}  // namespace Model
