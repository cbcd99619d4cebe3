#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// A UDP port of the loopback address that is free now.
[[nodiscard]] std::uint16_t freePort();

/// A conmon-snmpd of our own on a free loopback port, with a feed. Ended, by pid, with the object.
/// Its log is kept apart, and shown when something is wrong: with the std::runtime_error that is
/// thrown where the agent does not come up or refuses a line, and where its exit status is not 0.
class AgentProcess {
 public:
  /// `program` is the agent's path.
  explicit AgentProcess(const std::string& program);
  AgentProcess(const AgentProcess&) = delete;
  AgentProcess& operator=(const AgentProcess&) = delete;
  ~AgentProcess();
  /// Ends it as its user does. Returns its exit status, or 128 and the number of a signal.
  int end();

  [[nodiscard]] std::uint16_t port() const { return port_; }
  /// Sends feed lines and waits until all of them are answered with ok.
  void feed(const std::vector<std::string>& lines);

  /// CPU seconds, user and system, that the process has used.
  [[nodiscard]] double cpuSeconds() const;
  /// Memory of its own that it holds now, in bytes (RssAnon of proc(5)).
  [[nodiscard]] std::size_t anonymousBytes() const;

 private:
  void spawn(const std::string& program);
  /// False when the process has ended instead.
  bool connectFeed();
  [[nodiscard]] std::string log() const;
  [[noreturn]] void fail(const std::string& what) const;

  std::string directory_;
  std::string feedPath_;
  std::string logPath_;
  std::uint16_t port_ = 0;
  pid_t pid_ = 0;  ///< 0 when it has ended.
  int feed_ = -1;
};

}  // namespace bench
