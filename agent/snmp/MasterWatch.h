#pragma once

struct snmp_session;

namespace Agent {

/// Bounds what a master that goes silent costs a subagent. net-snmp waits for the answer to each
/// registration on the spot, whatever became of the one before, and when a connection is lost takes
/// for registered what it had not come to yet.
///
/// Here a master that leaves kMostUnanswered requests in a row without an answer is asked nothing
/// more: settle() hangs up on it, and net-snmp tries again as it does with one that has ended. One
/// late answer is forgiven: a master that is merely busy has the registration all the same.
class MasterWatch {
 public:
  static constexpr unsigned kMostUnanswered = 3;

  /// Before net-snmp first looks for a master, and at most one at a time.
  MasterWatch();
  MasterWatch(const MasterWatch&) = delete;
  MasterWatch& operator=(const MasterWatch&) = delete;
  ~MasterWatch();

  /// Hangs up on a master that has gone silent. Only from outside net-snmp's calls, which would go
  /// on with a session that is no more.
  void settle();

 private:
  using Session = snmp_session;
  using Callback = int(int, int, void*, void*);
  static Callback begins;
  static Callback ends;
  static Callback asked;

  Session* session_ = nullptr;  ///< With the master, from its answer to the first request on.
  long version_ = 0;            ///< The session's own.
  unsigned unanswered_ = 0;     ///< In a row.
};

}  // namespace Agent
