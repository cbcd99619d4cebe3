#include "agent/loop/EventLoop.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include "agent/Fd.h"

namespace Agent {
namespace {

using namespace std::chrono_literals;

/// A pipe with an end for each side.
struct Pipe {
  Pipe() : Pipe(make()) {}
  explicit Pipe(const std::array<int, 2>& ends) : read(ends[0]), write(ends[1]) {}
  void fill() const { EXPECT_EQ(::write(write.get(), "x", 1), 1); }
  void drain() const {
    char octet = 0;
    EXPECT_EQ(::read(read.get(), &octet, 1), 1);
  }
  static std::array<int, 2> make() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    return ends;
  }
  Fd read;
  Fd write;
};

class CountedWork final : public Work {
 public:
  explicit CountedWork(int items) : left(items) {}
  bool hasWork() override { return left > 0; }
  void work(Ubo::YieldPolicy&) override {
    --left;
    ++slices;
  }
  int left;
  int slices = 0;
};

/// Has a request at every turn.
class BusySource final : public RequestSource {
 public:
  void prepare(std::vector<pollfd>& fds) override { fds.push_back({pipe_.read.get(), POLLIN, 0}); }
  bool dispatch(std::span<const pollfd> fds) override {
    EXPECT_EQ(fds.size(), 1U);
    EXPECT_NE(fds[0].revents & POLLIN, 0);
    ++requests;
    return true;
  }
  std::optional<Clock::time_point> next() override { return std::nullopt; }
  void run() override {}
  BusySource() { pipe_.fill(); }
  int requests = 0;

 private:
  Pipe pipe_;
};

class EventLoopTest : public testing::Test {
 protected:
  EventLoop loop_{2ms};
};

TEST_F(EventLoopTest, AReadableDescriptorCallsItsWatch) {
  const Pipe pipe;
  int calls = 0;
  EventLoop::Watch watch(loop_, pipe.read.get(), [&](EventLoop::Ready ready) {
    EXPECT_TRUE(ready.readable);
    pipe.drain();
    ++calls;
  });
  watch.interestIs(true, false);
  loop_.turn(0ms);
  EXPECT_EQ(calls, 0);
  pipe.fill();
  loop_.turn(0ms);
  loop_.turn(0ms);
  EXPECT_EQ(calls, 1);
}

TEST_F(EventLoopTest, AWritableDescriptorCallsItsWatch) {
  const Pipe pipe;
  int calls = 0;
  EventLoop::Watch watch(loop_, pipe.write.get(), [&](EventLoop::Ready ready) {
    EXPECT_TRUE(ready.writable);
    EXPECT_FALSE(ready.readable);
    ++calls;
  });
  watch.interestIs(false, true);
  loop_.turn(0ms);
  EXPECT_EQ(calls, 1);
}

TEST_F(EventLoopTest, AWatchWithoutInterestIsNotCalledNotEvenAtAHangUp) {
  auto pipe = std::make_unique<Pipe>();
  int calls = 0;
  EventLoop::Watch watch(loop_, pipe->read.get(), [&](EventLoop::Ready) { ++calls; });
  pipe->write = Fd(dup(pipe->read.get()));  // Closes the writing end.
  loop_.turn(0ms);
  EXPECT_EQ(calls, 0);
  watch.interestIs(true, false);
  loop_.turn(0ms);
  EXPECT_EQ(calls, 1);
}

TEST_F(EventLoopTest, AWatchMayEndInItsOwnCallbackAndInAnothers) {
  const Pipe one;
  const Pipe two;
  one.fill();
  two.fill();
  int calls = 0;
  std::optional<EventLoop::Watch> first;
  std::optional<EventLoop::Watch> second;
  const auto endBoth = [&](EventLoop::Ready) {
    ++calls;
    first.reset();
    second.reset();
  };
  first.emplace(loop_, one.read.get(), endBoth).interestIs(true, false);
  second.emplace(loop_, two.read.get(), endBoth).interestIs(true, false);
  loop_.turn(0ms);
  loop_.turn(0ms);
  EXPECT_EQ(calls, 1);
}

TEST_F(EventLoopTest, AWatchMayBeginInACallback) {
  const Pipe pipe;
  pipe.fill();
  int calls = 0;
  std::optional<EventLoop::Watch> inner;
  EventLoop::Watch outer(loop_, pipe.read.get(), [&](EventLoop::Ready) {
    if (!inner) {
      inner.emplace(loop_, pipe.read.get(), [&](EventLoop::Ready) { ++calls; });
      inner->interestIs(true, false);
    }
  });
  outer.interestIs(true, false);
  loop_.turn(0ms);
  EXPECT_EQ(calls, 0);
  loop_.turn(0ms);
  EXPECT_EQ(calls, 1);
}

TEST_F(EventLoopTest, EachTurnRunsOneSliceOfOneWorkInTurn) {
  CountedWork first(3);
  CountedWork second(3);
  loop_.workAdd(first);
  loop_.workAdd(second);
  loop_.turn(std::nullopt);
  EXPECT_EQ(first.slices + second.slices, 1);
  loop_.turn(std::nullopt);
  EXPECT_EQ(first.slices, 1);
  EXPECT_EQ(second.slices, 1);
  for (int i = 0; i < 4; ++i) {
    loop_.turn(std::nullopt);
  }
  EXPECT_EQ(first.slices, 3);
  EXPECT_EQ(second.slices, 3);
}

TEST_F(EventLoopTest, RequestsGoBeforeWorkButDoNotStarveIt) {
  BusySource source;
  CountedWork work(1000);
  loop_.requestSourceIs(source);
  loop_.workAdd(work);
  for (int i = 0; i < 320; ++i) {
    loop_.turn(0ms);
  }
  EXPECT_EQ(source.requests, 320);
  EXPECT_EQ(work.slices, 10);
}

TEST_F(EventLoopTest, ATimerRunsOnceItIsDue) {
  class OneShot final : public Timer {
   public:
    std::optional<Clock::time_point> next() override { return due; }
    void run() override {
      ++runs;
      due.reset();
    }
    std::optional<Clock::time_point> due;
    int runs = 0;
  };
  OneShot timer;
  loop_.timerAdd(timer);
  timer.due = Clock::now() + 1h;
  loop_.turn(0ms);
  EXPECT_EQ(timer.runs, 0);
  timer.due = Clock::now() + 1ms;
  loop_.turn(std::nullopt);  // Waits for the timer, or would wait for good.
  EXPECT_EQ(timer.runs, 1);
}

TEST_F(EventLoopTest, RunEndsWithStop) {
  const Pipe pipe;
  pipe.fill();
  EventLoop::Watch watch(loop_, pipe.read.get(), [&](EventLoop::Ready) { loop_.stop(); });
  watch.interestIs(true, false);
  loop_.run();
  SUCCEED() << "run() returned";
}

}  // namespace
}  // namespace Agent
