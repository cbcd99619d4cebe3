/// Feed lines and control operations end to end: sessions, queue, applier, record book and start
/// gate as in the agent, the store, the three table state machines and the MIB module behind them.
///
/// The input is text. A line that begins with '~' is a word to the process itself, all others are
/// feed lines:
///   ~N        the lines that follow come over connection N (0 to 3)
///   ~x        the connection closes
///   ~r        the plug-in's agent is replaced
///   ~k NAME N the kernel gives the interface an index
///   ~t        an hour passes

#include <array>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <string_view>

#include "AgentForTest.h"
#include "FuzzInput.h"
#include "Shown.h"
#include "Snmp/CentrumUtil.h"
#include "agent/control/ControlDesk.h"
#include "agent/feed/Session.h"
#include "agent/plugin/StartGate.h"
#include "agent/store/StoreFeed.h"

namespace {

class NeverYield final : public Ubo::YieldPolicy {
 public:
  void sliceBegins() override {}
  bool shouldYield() override { return false; }
};

class Process {
 public:
  Process() {
    scheduler_->yieldPolicyIs(std::make_unique<NeverYield>());
    Qiv::dirAt(root_, "snmp")->entityIs("ifMib", inputs_.ifMib);
    Snmp::CentrumUtil::agentRootIs(root_);
    gate_.start();
    settle();
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process() {
    for (Connection& connection : connections_) {
      connection.session = nullptr;
    }
    plugin_.stop();
    scheduler_->runAll();
    Model::endContexts();
    Snmp::CentrumUtil::agentRootIs(nullptr);
  }

  void take(std::string_view line) {
    if (!line.starts_with('~')) {
      send(line);
      return;
    }
    switch (line.size() > 1 ? line[1] : ' ') {
      case 'x':
        close(connections_[current_]);
        break;
      case 'r':
        gate_.replaceAgent();
        break;
      case 'k':
        kernel(line.substr(2));
        break;
      case 't':
        now_ += std::chrono::hours(1);
        clients_.expire();
        break;
      default:
        current_ = static_cast<std::uint8_t>(line.size() > 1 ? line[1] : 0) % connections_.size();
    }
    settle();
  }

  /// At rest, the store holds together, and nothing is left when everything was removed.
  void check() {
    settle();
    const Model::Shown shown = Model::shown(*inputs_.conMonMibRoot);
    require(shown.rows.size() <= book_.ledger().size());
    while (const auto* client = book_.ledger().clientBehind(std::nullopt)) {
      queue_.push({client->name, Agent::RemoveClient{}});
      settle();
    }
    require(Model::shown(*inputs_.conMonMibRoot).rows.empty());
    require(inputs_.clientDir->entityPtr().begin() == inputs_.clientDir->entityPtr().end());
  }

 private:
  struct Connection {
    std::unique_ptr<Agent::Session> session;
    std::size_t unanswered = 0;
  };

  void send(std::string_view line) {
    Connection& connection = connections_[current_];
    if (!connection.session) {
      connection.session = std::make_unique<Agent::Session>(clients_, queue_, &desk_);
      connection.unanswered = 0;
    }
    if (!connection.session->wantsInput()) {
      return;
    }
    constexpr std::size_t kChunk = 60'000;
    std::string text(line);
    text += '\n';
    ++connection.unanswered;
    for (std::size_t at = 0; at < text.size() && connection.session->wantsInput(); at += kChunk) {
      connection.session->receive(std::string_view(text).substr(at, kChunk));
      settle();
    }
    // Every line has its answer by now.
    require(connection.session == nullptr || connection.unanswered == 0);
  }
  void close(Connection& connection) {
    if (connection.session) {
      connection.session->inputEnded(Agent::Session::End::kClosed);
    }
  }
  void kernel(std::string_view words) {
    words.remove_prefix(std::min(words.find_first_not_of(' '), words.size()));
    const std::size_t end = words.find(' ');
    const std::string_view name = words.substr(0, end);
    std::uint32_t ifIndex = 0;
    if (end != std::string_view::npos) {
      std::from_chars(words.data() + end + 1, words.data() + words.size(), ifIndex);
    }
    if (!name.empty() && name.size() <= 64 && ifIndex > 0 && ifIndex <= 0x7fff'ffff) {
      queue_.push({"", Agent::SetInterface{Pomel::String(name), ifIndex}});
    }
  }

  void read(Connection& connection) {
    for (std::size_t end = 0;
         (end = connection.session->output().find('\n')) != std::string_view::npos;) {
      const auto answer = nlohmann::json::parse(connection.session->output().substr(0, end));
      require(answer.at("ok").is_boolean());
      require(connection.unanswered-- > 0);
      connection.session->outputTaken(end + 1);
    }
    if (connection.session->finished()) {
      connection.session = nullptr;
    }
  }

  void settle() {
    for (bool more = true; more;) {
      more = false;
      for (Connection& connection : connections_) {
        if (connection.session) {
          if (connection.session->hasWork()) {
            more = true;
            connection.session->work(policy_);
          }
          read(connection);
        }
      }
      if (scheduler_->hasWork()) {
        more = true;
        scheduler_->runSlice();
      }
      if (gate_.hasWork()) {
        more = true;
        gate_.work(policy_);
      }
      if (applier_.hasWork()) {
        more = true;
        applier_.work(policy_);
      }
    }
  }

  NeverYield policy_;
  Agent::Clock::time_point now_{std::chrono::hours(1)};
  Ubo::Scheduler::Ptr scheduler_ = Ubo::findOrCreateScheduler(Ubo::kDefaultScheduler);
  Qiv::Dir::Ptr root_ = Qiv::make<Qiv::Dir>("");
  Agent::PluginInputs inputs_ = Agent::pluginInputsAt(root_);
  Agent::PluginHost plugin_{CONMON_PLUGIN, Qiv::dirAt(root_, "snmp/connectivityMonitor")};
  Agent::StoreFeed store_{
      inputs_.clientDir, inputs_.ifMib,
      [this](const Pomel::String& vrf, std::uint32_t count) { plugin_.vrfCountIs(vrf, count); }};
  // A low ceiling, so that counts are set back every now and then.
  Agent::RecordBook book_{store_, [](const std::string&) {}, 5};
  Agent::OperationQueue queue_{2};
  Agent::Applier applier_{queue_, book_};
  Agent::StartGate gate_{plugin_, inputs_, scheduler_, book_, applier_};
  Agent::ClientRegistry clients_{[this] { return now_; },
                                 [this](const Pomel::String& client) {
                                   queue_.push({client, Agent::RemoveClient{}});
                                 }};
  Agent::ControlDesk desk_{{root_, book_, clients_, queue_, gate_}};
  std::array<Connection, 4> connections_;
  std::size_t current_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static_cast<void>(AgentForTest::Agent::instance());
  const WithinASecond limit;
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  // More would prove nothing but that many of them take their time.
  constexpr int kMaxLines = 100;
  Process process;
  for (int line = 0; line < kMaxLines && !rest.empty(); ++line) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    process.take(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  process.check();
  return 0;
}
