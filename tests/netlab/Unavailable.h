#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace Netlab {

/// Counts the tests of this program that the machine could not run, and says so at its end.
class UnavailableCount final : public ::testing::Environment {
 public:
  static int& count() {
    static int tests = 0;
    return tests;
  }
  void TearDown() override { std::fprintf(stderr, "UNAVAILABLE: %d in all\n", count()); }
};

/// Registers the count once a program.
inline ::testing::Environment* const unavailableCount =
    ::testing::AddGlobalTestEnvironment(new UnavailableCount);

/// Says loudly why the running test cannot run here. `what` is a fixed word for the missing part of
/// the machine ("tun", "netns", "vrf-device"), for whoever counts. To be followed by GTEST_SKIP().
inline std::string unavailable(const std::string& what, const std::string& why) {
  const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
  const std::string line =
      "UNAVAILABLE: " + what + ": " + info->test_suite_name() + "." + info->name() + ": " + why;
  std::fprintf(stderr, "%s\n", line.c_str());
  ++UnavailableCount::count();
  return line;
}

}  // namespace Netlab
