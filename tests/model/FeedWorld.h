#pragma once

#include <array>
#include <chrono>
#include <deque>
#include <memory>
#include <string_view>

#include "AgentForTest.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpAgent.h"
#include "Policy.h"
#include "Worlds.h"
#include "agent/feed/ClientRegistry.h"
#include "agent/feed/RecordBook.h"
#include "agent/feed/Session.h"
#include "agent/plugin/StartGate.h"
#include "agent/store/StoreFeed.h"

namespace Model {

/// A line that was sent and not answered yet.
struct Sent {
  enum class What : std::uint8_t { kHello, kChange, kSync, kNonsense };
  What what = What::kNonsense;
  Connect hello;
  Change change;
};

/// The agent behind its feed layer, and what it ought to be.
class FeedWorld {
 public:
  explicit FeedWorld(const History& history);
  FeedWorld(const FeedWorld&) = delete;
  FeedWorld& operator=(const FeedWorld&) = delete;
  ~FeedWorld();

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
  Agent::PluginInputs inputs_ = Agent::pluginInputsAt(root_);
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

}  // namespace Model
