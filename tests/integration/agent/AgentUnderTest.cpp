#include "AgentUnderTest.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace Agent::Testing {

int freePort() {
  const int fd = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (bind(fd, reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("no free port");
  }
  close(fd);
  return ntohs(address.sin_port);
}

Scratch::Scratch() {
  directory_ = "/tmp/conmon-testXXXXXX";
  if (mkdtemp(directory_.data()) == nullptr) {
    throw std::runtime_error("no directory for the test");
  }
}

Scratch::~Scratch() { std::filesystem::remove_all(directory_); }

std::string Scratch::file(const std::string& name, const std::string& content) const {
  std::ofstream(path(name)) << content;
  return path(name);
}

FeedClient::FeedClient(const std::string& socketPath) : fd_(socket(AF_UNIX, SOCK_STREAM, 0)) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
  // The socket has its name a moment before it listens.
  if (!eventually([&] {
        return connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
      })) {
    throw std::runtime_error("cannot connect to " + socketPath);
  }
  const timeval longest{60, 0};
  setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest);
}

FeedClient::~FeedClient() { close(fd_); }

std::string FeedClient::readLine() {
  while (input_.find('\n') == std::string::npos) {
    char buffer[4096];
    const ssize_t got = recv(fd_, buffer, sizeof buffer, 0);
    if (got <= 0) {
      throw std::runtime_error("the feed gives no answer");
    }
    input_.append(buffer, static_cast<std::size_t>(got));
  }
  const std::size_t end = input_.find('\n');
  std::string line = input_.substr(0, end);
  input_.erase(0, end + 1);
  return line;
}

std::string FeedClient::ask(const std::string& line) {
  const std::string bytes = line + "\n";
  if (send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) {
    throw std::runtime_error("the feed takes no line");
  }
  return readLine();
}

void FeedClient::tell(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) {
    EXPECT_EQ(ask(line), "{\"ok\":true}") << line;
  }
}

AgentUnderTest::AgentUnderTest(const std::vector<std::string>& more) {
  // Another test may take the port between our choice of it and the agent's start.
  constexpr int kTries = 5;
  for (int i = 0; i < kTries && !start(more); ++i) {
    port_ = freePort();
  }
  if (!child_->running()) {
    throw std::runtime_error("the agent did not come up: " + errors());
  }
}

bool AgentUnderTest::start(const std::vector<std::string>& more) {
  std::vector<std::string> words{CONMON_AGENT,          "--plugin", CONMON_PLUGIN,    "--feed",
                                 scratch_.path("feed"), "--listen", "udp:" + target()};
  words.insert(words.end(), more.begin(), more.end());
  child_ = std::make_unique<Child>(words, scratch_.path("out"), scratch_.path("errors"));
  // The feed's socket is opened after the others, so requests are taken once it is there.
  if (!eventually([this] { return !child_->running() || std::filesystem::exists(feedPath()); })) {
    throw std::runtime_error("the agent did not come up: " + errors());
  }
  return errors().find("Address already in use") == std::string::npos;
}

int AgentUnderTest::stop() {
  child_->signal(SIGTERM);
  return child_->wait(std::chrono::seconds(20)).value_or(-1);
}

Varbinds AgentUnderTest::walk(const std::string& community) const {
  return walkWith({"-v2c", "-c", community}, target());
}

Varbinds walkWith(const std::vector<std::string>& how, const std::string& target) {
  std::vector<std::string> words{"snmpwalk"};
  words.insert(words.end(), how.begin(), how.end());
  words.insert(words.end(), {"-t", "2", "-r", "1", "-Onq", target, kObjects});
  const Outcome outcome = run(words);
  Varbinds varbinds;
  std::istringstream lines(outcome.output);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t blank = line.find(' ');
    const std::string value = blank == std::string::npos ? "" : line.substr(blank + 1);
    if (value.starts_with("No ")) {
      continue;  // Nothing is there, said in three ways.
    }
    varbinds[line.substr(0, blank)] = value;
  }
  return varbinds;
}

std::vector<std::string> column(const Varbinds& walk, const std::string& which) {
  const std::string table = which.substr(0, which.find('.'));
  const std::string number = which.substr(which.find('.') + 1);
  const std::string prefix = kObjects + "." + table + ".1." + number + ".";
  std::vector<std::string> values;
  for (const auto& [oid, value] : walk) {
    if (oid.starts_with(prefix)) {
      values.push_back(value);
    }
  }
  return values;
}

}  // namespace Agent::Testing
