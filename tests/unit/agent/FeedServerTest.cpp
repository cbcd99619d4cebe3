#include "agent/feed/FeedServer.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "FeedTesting.h"
#include "agent/StartError.h"

namespace Agent {
namespace {

using namespace std::chrono_literals;

constexpr const char* kOk = "{\"ok\":true}\n";

class FeedServerTest : public testing::Test {
 protected:
  FeedServerTest() {
    std::string name = testing::TempDir() + "feedXXXXXX";
    directory_ = mkdtemp(name.data());
    path_ = directory_ / "socket";
  }
  ~FeedServerTest() override {
    server_.reset();
    std::filesystem::remove_all(directory_);
  }

  void serve() {
    server_ = std::make_unique<FeedServer>(
        loop_, path_.string(), clients_, queue_, nullptr,
        [this](const std::string& line) { log_.push_back(line); },
        [this](const std::string& line) { noted_.push_back(line); },
        [this](const std::string& line) { told_.push_back(line); },
        [this](int listening) {
          if (shortage_ != 0) {
            errno = shortage_;
            return Fd(-1);
          }
          return FeedServer::acceptNonBlocking(listening);
        });
    loop_.workAdd(*server_);
    loop_.timerAdd(*server_);
  }
  [[nodiscard]] Fd connected() const {
    Fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.string().copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return fd;
  }
  static void sendTo(const Fd& fd, std::string_view bytes) {
    EXPECT_EQ(send(fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }
  static std::string received(const Fd& fd) {
    std::string all;
    std::array<char, 4096> buffer;
    ssize_t got = 0;
    while ((got = recv(fd.get(), buffer.data(), buffer.size(), 0)) > 0) {
      all.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return all;
  }
  static bool closed(const Fd& fd) {
    char octet = 0;
    return recv(fd.get(), &octet, 1, MSG_PEEK) == 0;
  }
  /// Enough turns for anything that a test set going; none waits.
  void turns(int count = 50) {
    for (int i = 0; i < count; ++i) {
      loop_.turn(0ms);
    }
  }
  /// The clients whose changes are queued, in order.
  std::vector<std::string> queued() {
    std::vector<std::string> names;
    while (!queue_.empty()) {
      names.push_back(queue_.pop().client.stdString());
      queue_.applied();
    }
    return names;
  }
  std::string startError() {
    try {
      serve();
    } catch (const StartError& error) {
      return error.what();
    }
    return "started";
  }

  std::filesystem::path directory_;
  std::filesystem::path path_;
  EventLoop loop_{2ms};
  OperationQueue queue_{100'000};
  Testing::FakeClock clock_;
  ClientRegistry clients_{clock_.now(), [](const Pomel::String&) {}};
  std::unique_ptr<FeedServer> server_;
  std::vector<std::string> log_;
  std::vector<std::string> noted_;
  std::vector<std::string> told_;
  int shortage_ = 0;  ///< What accept fails with, as errno; 0 for nothing.
};

TEST_F(FeedServerTest, LinesAreTakenAndAnswered) {
  serve();
  const Fd client = connected();
  sendTo(client, "{\"op\":\"hello\",\"client\":\"a\"}\n{\"op\":\"removeClient\"}\nx\n");
  turns();
  EXPECT_EQ(received(client), std::string(kOk) + kOk +
                                  "{\"ok\":false,\"error\":\"not valid JSON at byte 1\","
                                  "\"line\":3}\n");
  EXPECT_EQ(queued(), std::vector<std::string>{"a"});
}

TEST_F(FeedServerTest, AClientThatClosesAtOnceIsStillHeard) {
  serve();
  {
    const Fd client = connected();
    sendTo(client,
           "{\"op\":\"hello\",\"client\":\"a\",\"holdSeconds\":5}\n"
           "{\"op\":\"removeClient\"}\n");
  }
  turns();
  EXPECT_EQ(queued(), std::vector<std::string>{"a"});
  EXPECT_EQ(clients_.nextExpiry(), clock_.at() + 5s);
}

TEST_F(FeedServerTest, AClientThatOnlySaysThatItIsDoneStillGetsItsAnswers) {
  serve();
  const Fd client = connected();
  sendTo(client, "{\"op\":\"hello\",\"client\":\"a\"}\n{\"op\":\"sync\"}\n");
  shutdown(client.get(), SHUT_WR);
  turns();
  std::string bothAnswered;  // g++ 12 sees an overrun in the sum of the two that is none.
  bothAnswered.append(kOk).append(kOk);
  EXPECT_EQ(received(client), bothAnswered);
  EXPECT_TRUE(closed(client));
}

TEST_F(FeedServerTest, GarbageHalfLinesHugeLinesAndDeathsHarmNobodyElse) {
  serve();
  const Fd good = connected();
  sendTo(good, "{\"op\":\"hello\",\"client\":\"good\"}\n");
  {
    const Fd garbage = connected();
    std::string octets;
    for (int i = 0; i < 20'000; ++i) {
      octets += static_cast<char>(i * 7919 % 256);
    }
    sendTo(garbage, octets);
    const Fd half = connected();
    sendTo(half, "{\"op\":\"hello\",\"client\":\"half\"}\n{\"op\":\"removeCl");
    turns();
  }
  const Fd huge = connected();
  std::size_t sent = 0;
  const std::string block(100'000, 'x');
  while (sent < 10'000'000) {
    const ssize_t some = send(huge.get(), block.data(), block.size(), MSG_NOSIGNAL);
    if (some < 0 && errno != EAGAIN) {
      break;  // The agent has closed the connection, as it should long before the end.
    }
    sent += some < 0 ? 0 : static_cast<std::size_t>(some);
    turns(3);
  }
  EXPECT_LT(sent, 2'000'000U);
  EXPECT_EQ(received(huge),
            "{\"ok\":false,\"error\":\"line longer than 65536 bytes\",\"line\":1}\n");

  sendTo(good, "{\"op\":\"removeClient\"}\n");
  turns();
  EXPECT_EQ(received(good), std::string(kOk) + kOk);
  EXPECT_EQ(queued(), std::vector<std::string>{"good"});
}

TEST_F(FeedServerTest, AClientThatNeverReadsIsLeftStandingAndOthersAreServed) {
  serve();
  const Fd deaf = connected();
  std::size_t sent = 0;
  const std::string lines = [] {
    std::string text;
    for (int i = 0; i < 1000; ++i) {
      text += "x\n";
    }
    return text;
  }();
  int refusals = 0;
  while (refusals < 20) {
    const ssize_t some = send(deaf.get(), lines.data(), lines.size(), MSG_NOSIGNAL);
    if (some > 0) {
      sent += static_cast<std::size_t>(some);
      refusals = 0;
    } else {
      ++refusals;
    }
    turns(10);
    ASSERT_LT(sent, 50'000'000U) << "the agent reads on and stores the answers";
  }
  EXPECT_FALSE(server_->hasWork());
  const Fd good = connected();
  sendTo(good, "{\"op\":\"hello\",\"client\":\"good\"}\n");
  turns();
  EXPECT_EQ(received(good), kOk);
}

TEST_F(FeedServerTest, AClientThatDiesWhileItsSyncWaitsLeavesNothingBehind) {
  serve();
  {
    const Fd client = connected();
    sendTo(client,
           "{\"op\":\"hello\",\"client\":\"a\",\"holdSeconds\":1}\n"
           "{\"op\":\"removeClient\"}\n{\"op\":\"sync\"}\n");
    turns();
    EXPECT_EQ(received(client), std::string(kOk) + kOk);
  }
  turns();
  EXPECT_EQ(clients_.nextExpiry(), std::nullopt) << "its sync is not settled yet";
  EXPECT_EQ(queued().size(), 1U);
  turns();
  EXPECT_NE(clients_.nextExpiry(), std::nullopt);
}

TEST_F(FeedServerTest, AFullQueueHoldsTheClientBackAndLosesNothing) {
  OperationQueue small(10);
  FeedServer server(
      loop_, path_.string(), clients_, small, nullptr, [](const std::string&) {},
      [](const std::string&) {}, [](const std::string&) {});
  loop_.workAdd(server);
  const Fd client = connected();
  std::string lines = "{\"op\":\"hello\",\"client\":\"a\"}\n";
  for (int i = 0; i < 100; ++i) {
    lines += "{\"op\":\"removeClient\"}\n";
  }
  sendTo(client, lines);
  turns();
  EXPECT_EQ(small.accepted(), 10U);
  for (int i = 0; i < 100; ++i) {
    ASSERT_FALSE(small.empty());
    (void)small.pop();
    small.applied();
    turns(3);
  }
  EXPECT_EQ(small.accepted(), 100U);
}

TEST_F(FeedServerTest, AClientWhoseLastLineFilledTheQueueIsReadAgainWhenThereIsRoom) {
  OperationQueue small(1);
  FeedServer server(
      loop_, path_.string(), clients_, small, nullptr, [](const std::string&) {},
      [](const std::string&) {}, [](const std::string&) {});
  loop_.workAdd(server);
  const Fd client = connected();
  const std::string change = "{\"op\":\"removeClient\"}\n";
  sendTo(client, "{\"op\":\"hello\",\"client\":\"a\"}\n" + change);
  turns();
  ASSERT_TRUE(small.full());
  sendTo(client, change);
  turns();
  EXPECT_EQ(small.accepted(), 1U);
  (void)small.pop();
  small.applied();
  turns();
  EXPECT_EQ(small.accepted(), 2U);
}

TEST_F(FeedServerTest, ConnectionsBeyondTheBoundWaitForAnotherToClose) {
  serve();
  std::vector<Fd> crowd;
  for (std::size_t i = 0; i < FeedServer::kMaxConnections; ++i) {
    crowd.push_back(connected());
    turns(2);
  }
  const Fd late = connected();
  sendTo(late, "{\"op\":\"hello\",\"client\":\"late\"}\n");
  turns();
  EXPECT_EQ(received(late), "");
  crowd.pop_back();
  turns();
  EXPECT_EQ(received(late), kOk);
}

TEST_F(FeedServerTest, WithoutDescriptorsAConnectionWaitsAndTheLoopRests) {
  serve();
  shortage_ = EMFILE;
  const Fd client = connected();
  sendTo(client, "{\"op\":\"hello\",\"client\":\"a\"}\n");
  loop_.turn(0ms);
  ASSERT_EQ(log_.size(), 1U);
  EXPECT_EQ(log_[0],
            "--feed " + path_.string() + ": new connections have to wait: Too many open files");
  // Nothing but the end of the pause wakes the loop: each of these turns is one more try.
  for (int tries = 0; tries < 3; ++tries) {
    const auto due = server_->next();
    ASSERT_TRUE(due);
    loop_.turn(std::nullopt);
    EXPECT_GE(Clock::now(), *due);
    loop_.turn(0ms);
  }
  EXPECT_EQ(log_.size(), 1U);
  EXPECT_EQ(received(client), "");
  shortage_ = 0;
  loop_.turn(std::nullopt);
  turns();
  EXPECT_EQ(received(client), kOk);
  EXPECT_EQ(server_->next(), std::nullopt);
}

TEST_F(FeedServerTest, EachShortageIsToldOnce) {
  serve();
  for (const int cause : {EMFILE, ENFILE, ENOBUFS, ENOMEM}) {
    shortage_ = cause;
    log_.clear();
    const Fd client = connected();
    loop_.turn(0ms);
    loop_.turn(std::nullopt);
    loop_.turn(0ms);
    EXPECT_EQ(log_.size(), 1U) << cause;
    shortage_ = 0;
    loop_.turn(std::nullopt);
    turns();
  }
}

TEST_F(FeedServerTest, TheSocketIsRemovedAtTheEnd) {
  serve();
  EXPECT_TRUE(std::filesystem::is_socket(path_));
  server_.reset();
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(FeedServerTest, ASocketThatNobodyListensAtIsReplaced) {
  {
    const Fd fd(socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.string().copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  ASSERT_TRUE(std::filesystem::is_socket(path_));
  EXPECT_EQ(startError(), "started");
}

TEST_F(FeedServerTest, ASocketThatIsListenedAtIsLeftAlone) {
  serve();
  const auto first = std::move(server_);
  EXPECT_EQ(startError(), "--feed " + path_.string() + ": another process listens there");
  const Fd client = connected();
  EXPECT_TRUE(std::filesystem::is_socket(path_));
}

TEST_F(FeedServerTest, AFileInTheWayIsLeftAlone) {
  std::ofstream(path_) << "precious";
  EXPECT_EQ(startError(), "--feed " + path_.string() + ": exists and is no socket");
  EXPECT_EQ(std::filesystem::file_size(path_), 8U);
}

TEST_F(FeedServerTest, APathThatCannotBeASocketsIsAnError) {
  path_ = directory_ / std::string(200, 'x');
  EXPECT_EQ(startError(), "--feed " + path_.string() + ": expected a path of 1 to 107 bytes");
  path_ = directory_ / "no" / "such";
  EXPECT_EQ(startError(), "--feed " + path_.string() + ": No such file or directory");
}

TEST_F(FeedServerTest, EachConnectionIsLoggedWithItsPeer) {
  serve();
  const Fd one = connected();
  const Fd two = connected();
  turns();
  const std::string line = fmt::format("feed: connection from process {}, user {}, group {}",
                                       getpid(), getuid(), getgid());
  EXPECT_EQ(told_, (std::vector{line, line}));
  EXPECT_TRUE(noted_.empty());
  EXPECT_TRUE(log_.empty());
}

TEST_F(FeedServerTest, EachClientIsNotedOnceWithItsPeer) {
  serve();
  const Fd client = connected();
  sendTo(client, "x\n{\"op\":\"hello\",\"client\":\"a\\nb\"}\n{\"op\":\"removeClient\"}\n");
  turns();
  sendTo(client, "{\"op\":\"removeClient\"}\n");
  turns();
  EXPECT_EQ(noted_, std::vector{fmt::format(R"(feed: client "a\nb": process {}, user {}, group {})",
                                            getpid(), getuid(), getgid())});
}

}  // namespace
}  // namespace Agent
