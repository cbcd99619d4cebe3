#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "ctl/Error.h"
#include "ctl/commands/Commands.h"
#include "ctl/socket/Asker.h"
#include "ctl/text/Printable.h"

namespace Ctl {

namespace {

constexpr std::size_t kPiece = 65'536;
constexpr std::string_view kAccepted = "{\"ok\":true}";

/// Carries a file's lines to the agent and tells of every one that is refused. Both directions
/// flow at once: the agent stops reading from who does not take its answers.
class Carrier {
 public:
  Carrier(int file, std::string name, UnixSocket& agent)
      : file_(file), name_(std::move(name)), agent_(agent) {}

  void carry() {
    do {
      wait();
      sendOut();
    } while (takeAnswers());
    if (answered_ < lines_ || !fileEnded_) {
      throw Error(fmt::format("the agent closed the connection after line {}", answered_));
    }
    if (refused_ > 0) {
      throw Error(fmt::format("{} of {} lines refused", refused_, lines_));
    }
  }

 private:
  void wait() {
    const bool wantsFile = !fileEnded_ && !refusesMore_ && out_.size() < kPiece;
    std::array<pollfd, 2> fds = {
        {{agent_.fd(), static_cast<short>(POLLIN | (out_.empty() ? 0 : POLLOUT)), 0},
         {wantsFile ? file_ : -1, POLLIN, 0}}};
    if (poll(fds.data(), fds.size(), -1) > 0) {
      answersReady_ = (fds[0].revents & ~POLLOUT) != 0;
      if (fds[1].revents != 0) {
        readFile();
      }
    }
  }

  void readFile() {
    std::array<char, kPiece> buffer;
    const ssize_t got = read(file_, buffer.data(), buffer.size());
    if (got < 0) {
      throw Error(fmt::format("{}: {}", name_, std::strerror(errno)));
    }
    const std::string_view read(buffer.data(), static_cast<std::size_t>(got));
    lines_ += static_cast<std::size_t>(std::count(read.begin(), read.end(), '\n'));
    out_ += read;
    fileEnded_ = read.empty();
    if (fileEnded_ && lastRead_ != '\n') {
      out_ += '\n';
      ++lines_;
    }
    if (!read.empty()) {
      lastRead_ = read.back();
    }
  }

  void sendOut() {
    if (!out_.empty()) {
      const auto sent = agent_.sendSome(out_);
      // What it said before it closed is still to be read.
      refusesMore_ = !sent;
      out_.erase(0, sent.value_or(out_.size()));
    }
    if (fileEnded_ && out_.empty()) {
      agent_.sendingEnds();
    }
  }

  /// False at the end of the answers.
  bool takeAnswers() {
    if (!std::exchange(answersReady_, false)) {
      return true;
    }
    const bool more = agent_.receiveSome();
    while (const auto answer = agent_.receivedLine()) {
      ++answered_;
      if (*answer != kAccepted) {
        tell(Json::parse(*answer, nullptr, false));
      }
    }
    return more;
  }

  void tell(const Json& answer) {
    if (!answer.is_object() || answer.value("ok", false)) {
      return;
    }
    ++refused_;
    fmt::print(stderr, "{}:{}: {}\n", printable(name_), answered_,
               printable(answer.value("error", "refused")));
  }

  int file_;
  std::string name_;
  UnixSocket& agent_;
  std::string out_;
  char lastRead_ = '\n';
  bool fileEnded_ = false;
  bool answersReady_ = false;
  bool refusesMore_ = false;
  std::size_t lines_ = 0;
  std::size_t answered_ = 0;
  std::size_t refused_ = 0;
};

class OpenFile {
 public:
  explicit OpenFile(const std::string& path)
      : fd_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (fd_ < 0) {
      throw Error(fmt::format("{}: {}", path, std::strerror(errno)));
    }
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() {
    if (fd_ != STDIN_FILENO) {
      close(fd_);
    }
  }
  [[nodiscard]] int fd() const noexcept { return fd_; }

 private:
  int fd_;
};

}  // namespace

void run(const Feed& feed, const std::string& socket) {
  const OpenFile file(feed.file);
  // A sync waits for as long as the agent needs.
  UnixSocket agent("agent", socket, std::nullopt);
  const std::string name = feed.file == "-" ? "standard input" : feed.file;
  Carrier(file.fd(), name, agent).carry();
}

}  // namespace Ctl
