#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "monitor/config/Config.h"
#include "monitor/feed/Mirror.h"
#include "monitor/log/Log.h"
#include "monitor/loop/Event.h"

struct bufferevent;

namespace Monitor {

/// How patient the client is with the agent.
struct FeedPatience {
  std::chrono::nanoseconds firstRetry = std::chrono::milliseconds(100);
  std::chrono::nanoseconds longestRetry = std::chrono::seconds(10);
  std::chrono::nanoseconds answer = std::chrono::seconds(30);  ///< Longest time without an answer.
};

/// Keeps the agent's records equal to the mirror, over a connection that it makes again whenever it
/// is lost.
///
///  1. After each connect the whole present state is said: what should be there is put, what may
///     still be there from an earlier connection and should not is removed. Rows that stay are
///     replaced where they are and never missing in between.
///  2. What an earlier process of the same name left behind can't be known. It is cleared once, by
///     removing all records and putting the present ones in one go, when sweep() says that the
///     present ones are worth more than the old.
///  3. A bounded number of lines is under way; the rest waits in the mirror, merged by key.
class FeedClient {
 public:
  FeedClient(const Loop& loop, std::string client, const AgentConfig& agent, Mirror& mirror,
             Log& log, FeedPatience patience = {});
  FeedClient(const FeedClient&) = delete;
  FeedClient& operator=(const FeedClient&) = delete;
  ~FeedClient();

  /// Clears what an earlier process left behind, on this connection or the next. Once is enough.
  void sweep();

  /// The records are to go for good: asks the agent to remove them if it is there, and calls `done`
  /// when that is carried out or has failed; `done` may destroy this. The mirror is not followed
  /// any more.
  void leave(std::function<void()> done);

  /// Whether both speak for the same client to the same agent.
  [[nodiscard]] bool speaksLike(const FeedClient& other) const {
    return client_ == other.client_ && agent_.socket == other.agent_.socket;
  }
  /// Does not connect until goOn(). Precondition: it has not connected yet.
  void holdBack();
  void goOn();

  /// Another hold time: the agent takes it with a new connection.
  void holdIs(std::chrono::nanoseconds hold);

  [[nodiscard]] bool connected() const noexcept { return state_ == State::kSpeaking; }
  /// True when the agent has confirmed everything that there is to say.
  [[nodiscard]] bool inStep() const noexcept;
  [[nodiscard]] std::vector<Counter> counters() const;

 private:
  enum class State : std::uint8_t { kWaiting, kGreeting, kSpeaking, kLeaving, kGone };
  /// What a line under way was, for when its answer comes.
  struct UnderWay {
    enum class Kind : std::uint8_t { kHello, kStep, kSweep, kSync, kLeave } kind;
    std::string key;  ///< Of a step.
  };
  struct Free {
    void operator()(bufferevent* buffer) const;
  };

  void onTimer();
  void connect();
  void onRead();
  void answer(std::string_view line);
  void carriedOut(const UnderWay& step);
  void refused(const UnderWay& step, const std::string& error);
  void stepEnded(const UnderWay& step);
  void fill();
  void send(std::string_view line, UnderWay step);
  void lost(const std::string& why);
  void close();
  void gone();

  Loop loop_;
  std::string client_;
  AgentConfig agent_;
  Log& log_;
  FeedPatience patience_;
  Mirror& mirror_;
  State state_ = State::kWaiting;
  std::unique_ptr<bufferevent, Free> buffer_;
  std::deque<UnderWay> underWay_;
  bool sweepWanted_ = false, swept_ = false;
  bool syncWanted_ = false;
  bool lossSaid_ = false;
  bool heldBack_ = false;
  std::function<void()> onLeft_;
  std::chrono::nanoseconds retry_{};
  std::string lastRefusal_;
  std::uint64_t connects_ = 0, lines_ = 0, refused_ = 0;
  Timer retryTimer_;
  Timer fillTimer_;
  Timer answerTimer_;
};

}  // namespace Monitor
