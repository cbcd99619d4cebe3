#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Child.h"
#include "Command.h"

namespace Agent::Testing {

inline const std::string kObjects = ".1.3.6.1.4.1.61111.3.38.1";

/// A UDP port of 127.0.0.1 (or ::1) that was free a moment ago.
[[nodiscard]] int freePort();

/// Varbinds by numeric OID, with the value as the tool prints it.
using Varbinds = std::map<std::string, std::string>;

/// A directory of its own for a test's files, removed with its content.
class Scratch {
 public:
  Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch();
  [[nodiscard]] std::string path(const std::string& name) const { return directory_ + "/" + name; }
  /// Writes a file and returns its path.
  [[nodiscard]] std::string file(const std::string& name, const std::string& content) const;

 private:
  std::string directory_;
};

/// A feed client of the agent under test.
class FeedClient {
 public:
  explicit FeedClient(const std::string& socketPath);
  FeedClient(const FeedClient&) = delete;
  FeedClient& operator=(const FeedClient&) = delete;
  ~FeedClient();
  /// Sends one line and returns its answer, without line ends.
  std::string ask(const std::string& line);
  /// Sends lines that must all be answered with ok.
  void tell(const std::vector<std::string>& lines);

 private:
  std::string readLine();
  int fd_;
  std::string input_;
};

/// The real process, with a feed, on a free port.
class AgentUnderTest {
 public:
  /// Starts it with `more` arguments and waits until it answers.
  explicit AgentUnderTest(const std::vector<std::string>& more = {});

  [[nodiscard]] Child& child() { return *child_; }
  [[nodiscard]] int port() const { return port_; }
  [[nodiscard]] std::string target() const { return "127.0.0.1:" + std::to_string(port_); }
  [[nodiscard]] std::string feedPath() const { return scratch_.path("feed"); }
  [[nodiscard]] std::string errors() const { return readFile(scratch_.path("errors")); }
  /// Sends SIGTERM and returns the exit status.
  [[nodiscard]] int stop();

  /// A walk with the given community; empty when nobody answers or nothing is there.
  [[nodiscard]] Varbinds walk(const std::string& community) const;

 private:
  /// False when the port was taken. Throws when nothing comes of the start.
  [[nodiscard]] bool start(const std::vector<std::string>& more);

  Scratch scratch_;
  int port_ = freePort();
  std::unique_ptr<Child> child_;
};

/// A walk of kObjects with the tool's options `how`.
[[nodiscard]] Varbinds walkWith(const std::vector<std::string>& how, const std::string& target);

/// The values of one column of a walk: `1.3` is column 3 of the first table.
[[nodiscard]] std::vector<std::string> column(const Varbinds& walk, const std::string& which);

}  // namespace Agent::Testing
