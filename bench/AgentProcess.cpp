#include "AgentProcess.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace bench {

namespace {

constexpr int kStartMilliseconds = 60'000;
constexpr int kStartTries = 5;
constexpr int kAnswerMilliseconds = 60'000;

std::string temporaryDirectory() {
  std::string path = (std::filesystem::temp_directory_path() / "conmon-bench-XXXXXX").string();
  if (::mkdtemp(path.data()) == nullptr) {
    throw std::runtime_error("no temporary directory");
  }
  return path;
}

}  // namespace

std::uint16_t freePort() {
  const int probe = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in at{};
  at.sin_family = AF_INET;
  at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof at;
  auto* const address = reinterpret_cast<sockaddr*>(&at);
  const bool found = ::bind(probe, address, size) == 0 && ::getsockname(probe, address, &size) == 0;
  ::close(probe);
  if (!found) {
    throw std::runtime_error("no free UDP port");
  }
  return ntohs(at.sin_port);
}

AgentProcess::AgentProcess(const std::string& program)
    : directory_(temporaryDirectory()),
      feedPath_(directory_ + "/feed"),
      logPath_(directory_ + "/log") {
  // Somebody else may take a port that was free a moment ago.
  for (int tries = 0; tries < kStartTries; ++tries) {
    port_ = freePort();
    spawn(program);
    if (connectFeed()) {
      return;
    }
  }
  fail("the agent does not take a feed");
}

void AgentProcess::spawn(const std::string& program) {
  std::vector<std::string> words = {program, "--listen", "udp:127.0.0.1:" + std::to_string(port_),
                                    "--feed", feedPath_};
  std::vector<char*> arguments;
  for (std::string& word : words) {
    arguments.push_back(word.data());
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t redirection;
  ::posix_spawn_file_actions_init(&redirection);
  ::posix_spawn_file_actions_addopen(&redirection, STDERR_FILENO, logPath_.c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0600);
  const int error =
      ::posix_spawn(&pid_, program.c_str(), &redirection, nullptr, arguments.data(), environ);
  ::posix_spawn_file_actions_destroy(&redirection);
  if (error != 0) {
    throw std::runtime_error("cannot start " + program);
  }
}

AgentProcess::~AgentProcess() {
  if (feed_ >= 0) {
    ::close(feed_);
  }
  if (pid_ != 0) {
    end();
  }
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

int AgentProcess::end() {
  constexpr int kSignalled = 128;
  int status = 0;
  ::kill(pid_, SIGTERM);
  ::waitpid(std::exchange(pid_, 0), &status, 0);
  const int told = WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
  if (told != 0) {
    std::fprintf(stderr, "the agent ended with %d\n%s", told, log().c_str());
  }
  return told;
}

std::string AgentProcess::log() const {
  std::ifstream file(logPath_);
  return {std::istreambuf_iterator<char>(file), {}};
}

void AgentProcess::fail(const std::string& what) const {
  throw std::runtime_error(what + "; its log:\n" + log());
}

bool AgentProcess::connectFeed() {
  sockaddr_un to{};
  to.sun_family = AF_UNIX;
  feedPath_.copy(to.sun_path, sizeof to.sun_path - 1);
  for (int waited = 0; waited < kStartMilliseconds; waited += 10) {
    feed_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (::connect(feed_, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0) {
      return true;
    }
    ::close(feed_);
    feed_ = -1;
    if (::waitpid(pid_, nullptr, WNOHANG) == pid_) {
      pid_ = 0;
      return false;
    }
    ::usleep(10'000);
  }
  end();
  fail("the agent does not come up");
}

void AgentProcess::feed(const std::vector<std::string>& lines) {
  constexpr std::string_view kOk = "{\"ok\":true}";
  std::string out;
  for (const std::string& line : lines) {
    out += line + '\n';
  }
  std::size_t written = 0;
  std::size_t answered = 0;
  std::string answers;
  while (answered < lines.size()) {
    pollfd ready{.fd = feed_,
                 .events = static_cast<short>(POLLIN | (written < out.size() ? POLLOUT : 0)),
                 .revents = 0};
    if (::poll(&ready, 1, kAnswerMilliseconds) != 1) {
      fail("the feed is not answered");
    }
    if ((ready.revents & POLLOUT) != 0) {
      const ssize_t size = ::send(feed_, out.data() + written, out.size() - written, MSG_DONTWAIT);
      written += static_cast<std::size_t>(std::max<ssize_t>(size, 0));
    }
    if ((ready.revents & (POLLIN | POLLHUP)) == 0) {
      continue;
    }
    char buffer[65536];
    const ssize_t size = ::recv(feed_, buffer, sizeof buffer, MSG_DONTWAIT);
    if (size == 0) {
      fail("the agent closed the feed");
    }
    answers.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    std::size_t from = 0;
    for (std::size_t end; (end = answers.find('\n', from)) != std::string::npos; from = end + 1) {
      if (answers.compare(from, end - from, kOk) != 0) {
        fail("the agent refused: " + answers.substr(from, end - from));
      }
      ++answered;
    }
    answers.erase(0, from);
  }
}

double AgentProcess::cpuSeconds() const {
  // Nanoseconds on a CPU, to the nanosecond, unlike the ticks of /proc/PID/stat.
  std::ifstream file("/proc/" + std::to_string(pid_) + "/schedstat");
  double nanoseconds = 0;
  if (!(file >> nanoseconds)) {
    throw std::runtime_error("no schedstat");
  }
  return nanoseconds * 1e-9;
}

std::size_t AgentProcess::anonymousBytes() const {
  std::ifstream file("/proc/" + std::to_string(pid_) + "/status");
  std::string word;
  while (file >> word) {
    std::size_t kilobytes = 0;
    if (word == "RssAnon:" && file >> kilobytes) {
      return kilobytes * 1024;
    }
  }
  throw std::runtime_error("no RssAnon");
}

}  // namespace bench
