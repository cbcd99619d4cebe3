#include "Trace/Trace.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {
struct Counting {
  int& formatted;
};
}  // namespace

template <>
struct fmt::formatter<Counting> : fmt::formatter<int> {
  auto format(const Counting& counting, fmt::format_context& context) const {
    return fmt::formatter<int>::format(++counting.formatted, context);
  }
};

namespace Trace {
namespace {

/// Collects lines as "UNIT LEVEL TEXT FILE:LINE FUNCTION" while it lives.
class Collected {
 public:
  Collected() {
    sinkIs([this](const Line& line) {
      lines.push_back(fmt::format("{} {} {} {}:{} {}", line.unit, line.level, line.text,
                                  line.position.file, line.position.line, line.position.function));
    });
  }
  Collected(const Collected&) = delete;
  Collected& operator=(const Collected&) = delete;
  ~Collected() { sinkIs({}); }
  std::vector<std::string> lines;
};

TEST(Trace, AUnitHasOneHandle) {
  Handle& one = handle("TraceTestUnit");
  EXPECT_EQ(&handle("TraceTestUnit"), &one);
  EXPECT_NE(&handle("TraceTestOther"), &one);
  EXPECT_EQ(one.unit(), "TraceTestUnit");
  const auto all = units();
  EXPECT_EQ(std::ranges::count(all, "TraceTestUnit"), 1);
}

TEST(Trace, ANewHandleIsOffAtEveryLevel) {
  const Handle fresh("fresh");
  for (int level = kError; level <= kMaxLevel; ++level) {
    EXPECT_FALSE(fresh.on(level)) << level;
  }
}

TEST(Trace, ALevelTurnsItselfAndAllBelowOn) {
  Handle handle("unit");
  handle.levelIs(7);
  EXPECT_TRUE(handle.on(0));
  EXPECT_TRUE(handle.on(7));
  EXPECT_FALSE(handle.on(8));
  handle.levelIs(kError);
  EXPECT_TRUE(handle.on(kError));
  EXPECT_FALSE(handle.on(1));
  handle.levelIs(-1);
  EXPECT_FALSE(handle.on(kError));
}

TEST(Trace, OnlyEnabledLinesReachTheSink) {
  const Collected collected;
  Handle handle("unit");
  handle.levelIs(6);
  handle.line(6, "filter( {} ) failed", "x");
  handle.line(7, "not shown {}", 1);
  handle.line(0, "plain");
  EXPECT_EQ(collected.lines,
            (std::vector<std::string>{"unit 6 filter( x ) failed :0 ", "unit 0 plain :0 "}));
}

TEST(Trace, ADisabledLineFormatsNothing) {
  const Collected collected;
  int formatted = 0;
  Handle handle("unit");
  handle.levelIs(8);
  handle.line(9, "{}", Counting{formatted});
  EXPECT_EQ(formatted, 0);
  handle.levelIs(9);
  handle.line(9, "{}", Counting{formatted});
  EXPECT_EQ(formatted, 1);
  EXPECT_EQ(collected.lines, std::vector<std::string>{"unit 9 1 :0 "});
}

TEST(Trace, APositionGoesAlong) {
  const Collected collected;
  const Handle handle("unit");
  handle.write(2, "text {}", {.file = "a.cpp", .line = 7, .function = "f"});
  EXPECT_EQ(collected.lines, std::vector<std::string>{"unit 2 text {} a.cpp:7 f"});
}

TEST(Trace, WithoutASinkALineIsUnitLevelAndTextOnStandardError) {
  Handle handle("velmorConMonMIB");
  handle.levelIs(9);
  testing::internal::CaptureStderr();
  handle.line(2, "{} of {}", 1, "two");
  handle.line(9, " scan complete: {}", true);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "velmorConMonMIB:2: 1 of two\nvelmorConMonMIB:9:  scan complete: true\n");
}

TEST(Trace, AnEmptySinkIsStandardErrorAgain) {
  { const Collected collected; }
  Handle handle("unit");
  handle.levelIs(0);
  testing::internal::CaptureStderr();
  handle.line(0, "back");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "unit:0: back\n");
}

}  // namespace
}  // namespace Trace
