// How the process starts and ends: faults are one clear line and exit code 1.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "AgentUnderTest.h"

namespace Agent::Testing {
namespace {

/// Standard error of a start that must fail with exit code 1 and one line.
std::string failedStart(const std::vector<std::string>& more) {
  std::vector<std::string> words{CONMON_AGENT};
  const auto has = [&](const char* option) {
    return std::find(more.begin(), more.end(), option) != more.end();
  };
  if (!has("--plugin")) {
    words.insert(words.end(), {"--plugin", CONMON_PLUGIN});
  }
  if (!has("--listen")) {
    words.insert(words.end(), {"--listen", "udp:127.0.0.1:" + std::to_string(freePort())});
  }
  words.insert(words.end(), more.begin(), more.end());
  const Outcome outcome = run(words);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
  return outcome.errors;
}

TEST(Start, APortInUseIsSaid) {
  const AgentUnderTest first;
  const std::string address = "udp:" + first.target();
  EXPECT_EQ(failedStart({"--listen", address}),
            "<3>cannot listen on " + address + ": Address already in use\n");
}

TEST(Start, AMissingPluginIsSaid) {
  EXPECT_EQ(failedStart({"--plugin", "/nonexistent/plugin.so"}),
            "<3>cannot load the plug-in: /nonexistent/plugin.so: cannot open shared "
            "object file: No such file or directory\n");
}

TEST(Start, ALibraryThatIsNoPluginIsSaid) {
  const std::string line = failedStart({"--plugin", CONMON_OTHER_LIBRARY});
  EXPECT_NE(line.find("is no plug-in of this program"), std::string::npos) << line;
}

TEST(Start, UnreadableFilesAreSaid) {
  const Scratch scratch;
  EXPECT_EQ(failedStart({"--feed-file", "/nonexistent"}),
            "<3>--feed-file /nonexistent: No such file or directory\n");
  EXPECT_EQ(failedStart({"--snmp-conf", "/nonexistent"}),
            "<3>--snmp-conf /nonexistent: No such file or directory\n");
  EXPECT_EQ(failedStart({"--config", "/nonexistent"}),
            "<3>/nonexistent: No such file or directory\n");
  EXPECT_EQ(failedStart({"--trace-file", "/nonexistent/trace"}),
            "<3>--trace-file /nonexistent/trace: No such file or directory\n");
  EXPECT_EQ(failedStart({"--feed", "/nonexistent/feed"}),
            "<3>--feed /nonexistent/feed: No such file or directory\n");
}

TEST(Start, AConfigurationsFaultNamesFileLineAndKey) {
  const Scratch scratch;
  const std::string path = scratch.file("agent.yaml", "community: public\ncolour: red\n");
  EXPECT_EQ(failedStart({"--config", path}), "<3>" + path + ":2: colour: unknown setting\n");
  EXPECT_EQ(failedStart({"--config", path, "--check-config"}),
            "<3>" + path + ":2: colour: unknown setting\n");
}

TEST(Start, AGoodConfigurationPassesItsCheckAndNothingIsStarted) {
  const Scratch scratch;
  const std::string path =
      scratch.file("agent.yaml", "community: public\nfeed: feed.sock\nplugin: /nonexistent\n");
  const Outcome outcome = run({CONMON_AGENT, "--config", path, "--check-config"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_FALSE(std::filesystem::exists(scratch.path("feed.sock")));
}

TEST(Start, TheShippedExampleIsAGoodConfiguration) {
  const Outcome outcome =
      run({CONMON_AGENT, "--config", CONMON_EXAMPLES "/conmon-snmpd.yaml", "--check-config"});
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
}

TEST(Start, HelpAndVersionSucceed) {
  const Outcome help = run({CONMON_AGENT, "--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.output.find("--listen"), std::string::npos);
  const Outcome version = run({CONMON_AGENT, "--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.output.substr(0, 13), "conmon-snmpd ");
}

TEST(Start, TheCommandLineWinsOverTheFile) {
  const Scratch scratch;
  const std::string path =
      scratch.file("agent.yaml", "community: fromfile\nlisten: udp:127.0.0.1:1\n");
  const AgentUnderTest agent({"--config", path, "--community", "public"});
  EXPECT_TRUE(agent.walk("fromfile").empty());
}

TEST(Stop, SigtermAndSigintEndTheProcessCleanly) {
  for (const int signal : {SIGTERM, SIGINT}) {
    AgentUnderTest agent({"--feed-file", CONMON_EXAMPLES "/feed.jsonl"});
    EXPECT_TRUE(std::filesystem::exists(agent.feedPath()));
    agent.child().signal(signal);
    EXPECT_EQ(agent.child().wait(std::chrono::seconds(20)), 0);
    EXPECT_FALSE(std::filesystem::exists(agent.feedPath()));
    EXPECT_EQ(agent.errors(), "");
  }
}

TEST(Stop, SigtermEndsAProcessThatStillReadsItsFeed) {
  std::string lines = "{\"op\":\"hello\",\"client\":\"lab\"}\n";
  for (int i = 0; i < 200'000; ++i) {
    lines += R"({"op":"put","host":"h)" + std::to_string(i) +
             R"(","probe":"icmp","address":"192.0.2.1"})" + "\n";
  }
  const Scratch scratch;
  AgentUnderTest agent({"--feed-file", scratch.file("feed.jsonl", lines)});
  EXPECT_EQ(agent.stop(), 0);
}

/// The inode of each socket that the process has open.
std::set<std::string> socketsOf(pid_t pid) {
  std::set<std::string> inodes;
  for (const auto& entry :
       std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd")) {
    std::error_code gone;
    const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
    if (target.starts_with("socket:[")) {
      inodes.insert(target.substr(8, target.size() - 9));
    }
  }
  return inodes;
}

TEST(Sockets, OnlyTheAddressesThatWereAskedForAreOpen) {
  const std::string second = std::to_string(freePort());
  AgentUnderTest agent({"--listen", "udp6:[::1]:" + second});
  std::set<std::string> left;
  // The kernel is asked last, once the agent serves.
  const auto complete = [&] { return (left = socketsOf(agent.child().pid())).size() >= 4; };
  ASSERT_TRUE(eventually(complete));
  ASSERT_EQ(left.size(), 4U) << "two for SNMP, one for the feed, one for the kernel's interfaces";
  const auto known = [&](const char* table, std::size_t inodeColumn, std::size_t nameColumn) {
    std::vector<std::string> names;
    std::ifstream lines(table);
    for (std::string line; std::getline(lines, line);) {
      std::istringstream words(line);
      std::vector<std::string> fields{std::istream_iterator<std::string>(words), {}};
      if (fields.size() > std::max(inodeColumn, nameColumn) &&
          left.erase(fields[inodeColumn]) > 0) {
        names.push_back(fields[nameColumn]);
      }
    }
    return names;
  };
  const auto hex = [](int port) {
    std::ostringstream text;
    text << std::uppercase << std::hex << port;
    return std::string(4 - text.str().size(), '0') + text.str();
  };
  EXPECT_EQ(known("/proc/net/udp", 9, 1), std::vector{"0100007F:" + hex(agent.port())});
  EXPECT_EQ(known("/proc/net/udp6", 9, 1),
            std::vector{"00000000000000000000000001000000:" + hex(std::stoi(second))});
  EXPECT_EQ(known("/proc/net/unix", 6, 7), std::vector{agent.feedPath()});
  const std::string route = "0";  // NETLINK_ROUTE
  EXPECT_EQ(known("/proc/net/netlink", 9, 1), std::vector{route});
  EXPECT_TRUE(left.empty()) << "a socket that nobody asked for";
}

TEST(Files, NothingIsWrittenButTheFeedsSocket) {
  const Scratch home;
  const Scratch scratch;
  setenv("SNMP_PERSISTENT_DIR", home.path("persistent").c_str(), 1);
  Child agent({"env", "HOME=" + home.path(""), CONMON_AGENT, "--plugin", CONMON_PLUGIN, "--feed",
               scratch.path("feed"), "--listen", "udp:127.0.0.1:" + std::to_string(freePort())},
              scratch.path("out"), scratch.path("errors"));
  unsetenv("SNMP_PERSISTENT_DIR");  // The tools that other tests run do write there.
  ASSERT_TRUE(eventually([&] { return std::filesystem::exists(scratch.path("feed")); }));
  FeedClient(scratch.path("feed")).tell({R"({"op":"hello","client":"c"})", R"({"op":"sync"})"});
  agent.signal(SIGTERM);
  EXPECT_EQ(agent.wait(std::chrono::seconds(20)), 0);
  for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path(""))) {
    ADD_FAILURE() << entry.path();
  }
}

}  // namespace
}  // namespace Agent::Testing
