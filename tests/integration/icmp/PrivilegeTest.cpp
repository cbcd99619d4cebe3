// What the prober is allowed to do decides what kind of socket it gets, or that it gets none.
#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <string>

#include "IcmpTesting.h"

namespace Monitor::Testing {
namespace {

/// What the function says in a process that has no privileges, in a network namespace of its own
/// with the given range of groups that may use ping sockets.
std::string saysUnprivileged(const std::string& groupRange,
                             const std::function<std::string()>& function) {
  int ends[2];
  if (pipe(ends) != 0) {
    return "pipe";
  }
  const pid_t child = fork();
  if (child == 0) {
    std::string said = "cannot prepare";
    bool ready = unshare(CLONE_NEWNET) == 0 && std::system("ip link set lo up") == 0;
    {
      std::ofstream range("/proc/sys/net/ipv4/ping_group_range");
      range << groupRange << std::flush;
      ready = ready && range.good();
    }
    constexpr unsigned kNobody = 65'534;
    if (ready && setgroups(0, nullptr) == 0 && setgid(kNobody) == 0 && setuid(kNobody) == 0) {
      said = function();
    }
    _exit(write(ends[1], said.data(), said.size()) == static_cast<ssize_t>(said.size()) ? 0 : 1);
  }
  close(ends[1]);
  std::string said(4096, '\0');
  const ssize_t size = read(ends[0], said.data(), said.size());
  close(ends[0]);
  said.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  waitpid(child, nullptr, 0);
  return said;
}

class Privilege : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string said = saysUnprivileged("1 0", [] { return std::string("ready"); });
    if (said != "ready") {
      GTEST_SKIP() << Netlab::unavailable("netns", said);
    }
  }
};

TEST_F(Privilege, WithoutAnyTheProberSaysWhichItLacks) {
  const std::string said = saysUnprivileged(
      "1 0", [] { return ProberUnderTest().prober().unavailable().value_or("available"); });
  EXPECT_NE(said.find("net.ipv4.ping_group_range (now \"1 0\")"), std::string::npos) << said;
  EXPECT_NE(said.find("CAP_NET_RAW"), std::string::npos) << said;
}

TEST_F(Privilege, AGroupInTheRangeIsEnoughForBothFamilies) {
  const std::string said = saysUnprivileged("65534 65534", [] {
    ProberUnderTest under;
    if (const auto why = under.prober().unavailable()) {
      return *why;
    }
    const auto results =
        under.rounds({ProberUnderTest::spec({}, "127.0.0.1"), ProberUnderTest::spec({}, "::1")});
    return results[0].text + "; " + results[1].text;
  });
  EXPECT_EQ(said, "5 of 5 answered; 5 of 5 answered");
}

}  // namespace
}  // namespace Monitor::Testing
