#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>

namespace Monitor {

/// What the agent should hold, what it may hold, and what is to be sent to make the two the same.
///
///  1. A key that may be at the agent is remembered until its removal was confirmed, over any
///     number of connections; so nothing stale stays behind.
///  2. What is sent is the state of that moment: changes of one key that wait are merged, so an
///     agent that is slow costs no memory.
///  3. Two owners may claim one key (two names that resolve to one address): the later claim shows,
///     and only its owner can withdraw it.
class Mirror {
 public:
  using Owner = const void*;

  /// A line that is to be sent now, and the key it is about.
  struct Step {
    std::string line;
    std::string key;
  };

  Mirror() = default;
  Mirror(const Mirror&) = delete;
  Mirror& operator=(const Mirror&) = delete;

  /// Who is called when there is something to send; may be empty.
  void listenerIs(std::function<void()> onChange) { onChange_ = std::move(onChange); }

  /// `values` as recordValues() returns them. False when another owner held the key until now.
  bool put(const std::string& key, std::string values, Owner owner);
  void remove(const std::string& key, Owner owner);

  /// The next thing to send; null when the agent has been told everything.
  [[nodiscard]] std::optional<Step> next();
  /// The agent has carried out the earliest step of the key, or refused it.
  void answered(const std::string& key);

  /// A connection begins: everything is to be said again, and no earlier step will be answered.
  void sayAll();
  /// The agent has removed all records of the client: everything is to be said again, and nothing
  /// else is there.
  void allRemoved();

  /// Records that should be at the agent.
  [[nodiscard]] std::size_t size() const noexcept { return wanted_; }

 private:
  struct Entry {
    std::optional<std::string> values;  ///< Null: not wanted.
    Owner owner = nullptr;
    bool queued = false;
    unsigned underWay = 0;  ///< Steps that were handed out and are not answered.
  };
  using Entries = std::unordered_map<std::string, Entry>;

  void enqueue(Entries::value_type& entry);
  void enqueueAll();

  std::function<void()> onChange_;
  Entries entries_;
  std::deque<Entries::value_type*> queue_;  ///< Those with `queued`.
  std::size_t wanted_ = 0;
};

}  // namespace Monitor
