#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>

#include "monitor/app/CommandLine.h"
#include "monitor/app/Configurer.h"
#include "monitor/app/Notifier.h"
#include "monitor/status/StatusServer.h"
#include "tests/unit/monitor/LoopTesting.h"

namespace Monitor {
namespace {

using namespace std::chrono_literals;
using namespace Testing;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string temporary(const std::string& name) {
  return testing::TempDir() + "conmon-" + name + "-" + std::to_string(::getpid());
}

/// What a service manager listens with.
class NotifySocket {
 public:
  explicit NotifySocket(const std::string& path) : fd_(::socket(AF_UNIX, SOCK_DGRAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(std::begin(address.sun_path), path.size());
    if (path.front() == '@') {
      address.sun_path[0] = '\0';
    }
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    EXPECT_EQ(::bind(fd_.get(), reinterpret_cast<const sockaddr*>(&address), length), 0);
  }
  [[nodiscard]] std::string received() const {
    std::array<char, 256> buffer{};
    const ssize_t length = ::recv(fd_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    return length < 0 ? "nothing" : std::string(buffer.data(), static_cast<std::size_t>(length));
  }

 private:
  UniqueFd fd_;
};

TEST(Notifier, TellsTheStateToAPathOrAnAbstractName) {
  for (const std::string& name : {temporary("notify"), "@" + temporary("notify")}) {
    const NotifySocket socket(name);
    Notifier(name).send("READY=1\nSTATUS=x");
    EXPECT_EQ(socket.received(), "READY=1\nSTATUS=x") << name;
    std::filesystem::remove(name);
  }
}

TEST(Notifier, WithoutAServiceManagerNothingHappens) {
  Notifier("").send("READY=1");
  Notifier("/nonexistent/notify").send("READY=1");
  Notifier(std::string(500, 'x')).send("READY=1");
}

TEST(Notifier, TakesTheVariablesOutOfTheEnvironment) {
  const std::string name = temporary("notify");
  const NotifySocket socket(name);
  ::setenv("NOTIFY_SOCKET", name.c_str(), 1);
  Notifier::fromEnvironment().send("READY=1");
  EXPECT_EQ(socket.received(), "READY=1");
  EXPECT_EQ(std::getenv("NOTIFY_SOCKET"), nullptr);
  std::filesystem::remove(name);
}

TEST(WatchdogInterval, IsHalfTheTimeThatIsAllowed) {
  ::setenv("WATCHDOG_USEC", "3000000", 1);
  ::setenv("WATCHDOG_PID", std::to_string(::getpid()).c_str(), 1);
  EXPECT_EQ(watchdogInterval(), 1500ms);
  EXPECT_EQ(std::getenv("WATCHDOG_USEC"), nullptr);
  EXPECT_EQ(watchdogInterval(), std::nullopt);
}

TEST(WatchdogInterval, IsForThisProcessOnly) {
  ::setenv("WATCHDOG_USEC", "3000000", 1);
  ::setenv("WATCHDOG_PID", "1", 1);
  EXPECT_EQ(watchdogInterval(), std::nullopt);
  ::setenv("WATCHDOG_USEC", "soon", 1);
  EXPECT_EQ(watchdogInterval(), std::nullopt);
}

std::variant<CommandLine, Ending> parse(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "conmon-probed");
  return parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

TEST(ProberCommandLine, AConfigurationIsRunOrChecked) {
  const auto run = std::get<CommandLine>(parse({"--config", "a.yaml", "--agent-socket", "s"}));
  EXPECT_EQ(run.config, "a.yaml");
  EXPECT_FALSE(run.checkOnly);
  EXPECT_EQ(run.agentSocket, "s");
  EXPECT_FALSE(run.verbose);
  const auto check = std::get<CommandLine>(parse({"--check-config", "a.yaml", "--verbose"}));
  EXPECT_EQ(check.config, "a.yaml");
  EXPECT_TRUE(check.checkOnly);
  EXPECT_TRUE(check.verbose);
}

TEST(ProberCommandLine, WhatItDoesNotKnowIsRefusedInWords) {
  for (const auto& arguments : std::vector<std::vector<const char*>>{
           {}, {"--bogus"}, {"--config"}, {"--config", "a", "--check-config", "b"}, {"a.yaml"}}) {
    const auto ending = std::get<Ending>(parse(arguments));
    EXPECT_EQ(ending.code, 1);
    EXPECT_THAT(ending.text, testing::StartsWith("conmon-probed: "));
  }
  EXPECT_EQ(std::get<Ending>(parse({"--help"})).code, 0);
  EXPECT_THAT(std::get<Ending>(parse({"--version"})).text, testing::StartsWith("conmon-probed "));
}

class ConfigurerTest : public testing::Test {
 protected:
  ~ConfigurerTest() override { std::filesystem::remove(path_); }

  void write(const std::string& text) const { std::ofstream(path_) << text; }

  std::string path_ = temporary("config.yaml");
  std::vector<std::string> clients_;
  std::vector<std::string> logged_;
  std::optional<std::string> failure_;
  Log log_{Severity::kWarning, &Clock::now,
           [this](std::string_view line) { logged_.emplace_back(line); }};
  Configurer configurer_{path_, [](Config& config) { config.client += "!"; },
                         [this](const Config& config) {
                           if (failure_) {
                             throw std::runtime_error(*failure_);
                           }
                           clients_.push_back(config.client);
                         },
                         log_};
};

TEST_F(ConfigurerTest, AFileIsReadAdjustedAndApplied) {
  write("client: a\nagent: {socket: s}\nhosts: []\n");
  EXPECT_TRUE(configurer_.load());
  EXPECT_THAT(clients_, ElementsAre("a!"));
  EXPECT_FALSE(configurer_.error());
  EXPECT_THAT(logged_, IsEmpty());
}

TEST_F(ConfigurerTest, AFaultyFileChangesNothingAndItsErrorsAreLoggedAndKept) {
  write("client: a\nagent: {socket: s}\nhosts: []\n");
  ASSERT_TRUE(configurer_.load());
  write("client: b\nagent: {socket: s}\nhosts: {}\nbogus: 1\n");
  EXPECT_FALSE(configurer_.load());
  EXPECT_THAT(clients_, ElementsAre("a!"));
  EXPECT_THAT(logged_, ElementsAre(HasSubstr("<3>" + path_ + ":3: hosts: expected"),
                                   HasSubstr("<3>" + path_ + ":4: bogus: unknown key")));
  ASSERT_TRUE(configurer_.error());
  EXPECT_THAT(*configurer_.error(), HasSubstr(":3: hosts: expected"));
  EXPECT_EQ(configurer_.failures(), 1U);
  write("client: c\nagent: {socket: s}\nhosts: []\n");
  EXPECT_TRUE(configurer_.load());
  EXPECT_FALSE(configurer_.error());
  EXPECT_EQ(configurer_.loads(), 3U);
}

TEST_F(ConfigurerTest, WhatCannotBeAppliedIsAFailureToo) {
  write("client: a\nagent: {socket: s}\nhosts: []\n");
  failure_ = "no privilege";
  EXPECT_FALSE(configurer_.load());
  EXPECT_THAT(logged_, ElementsAre("<3>no privilege\n"));
  EXPECT_EQ(configurer_.error(), "no privilege");
}

UniqueFd connectTo(const std::string& path) {
  UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(std::begin(address.sun_path), path.size());
  EXPECT_EQ(::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  return fd;
}

/// All that comes until the other end closes.
std::string readAll(TestLoop& loop, int fd) {
  std::string text;
  EXPECT_TRUE(loop.runUntil([&] {
    std::array<char, 65536> buffer{};
    const ssize_t length = ::recv(fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
    text.append(buffer.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    return length == 0;
  }));
  return text;
}

TEST(StatusServer, EveryReaderGetsTheWholeStatusOfItsMoment) {
  TestLoop loop;
  const std::string path = temporary("status");
  constexpr std::size_t kMegabyte = 1 << 20;
  std::string status(kMegabyte, 'x');
  const StatusServer server(loop.loop(), path, [&] { return status; });
  const UniqueFd first = connectTo(path);
  EXPECT_EQ(readAll(loop, first.get()), status);
  status = "later";
  const UniqueFd second = connectTo(path);
  EXPECT_EQ(readAll(loop, second.get()), status);
}

TEST(StatusServer, ItsSocketIsForOwnerAndGroupOnlyAndGoesWithIt) {
  TestLoop loop;
  const std::string path = temporary("status");
  {
    const StatusServer server(loop.loop(), path, [] { return std::string(); });
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0660U);
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(StatusServer, ReplacesASocketThatNobodyListensAtAndNoOther) {
  TestLoop loop;
  const std::string path = temporary("status");
  {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(std::begin(address.sun_path), path.size());
    const UniqueFd dead(::socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(::bind(dead.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  const auto text = [] { return std::string(); };
  {
    const StatusServer server(loop.loop(), path, text);
    EXPECT_THROW(StatusServer(loop.loop(), path, text), std::runtime_error);
    EXPECT_TRUE(std::filesystem::exists(path));
  }
  std::ofstream(path) << "a file";
  EXPECT_THROW(StatusServer(loop.loop(), path, text), std::runtime_error);
  EXPECT_EQ(std::filesystem::file_size(path), 6U);
  std::filesystem::remove(path);
  EXPECT_THROW(StatusServer(loop.loop(), std::string(200, 'x'), text), std::runtime_error);
}

}  // namespace
}  // namespace Monitor
