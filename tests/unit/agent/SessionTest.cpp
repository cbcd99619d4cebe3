#include <random>

#include "SessionTesting.h"

namespace Agent {
namespace {

using namespace Testing;

TEST_F(SessionTest, EveryLineIsAnsweredInOrder) {
  send(std::string(kHello) + "nonsense\n" + kRemoveClient);
  EXPECT_EQ(answers(), std::string(kOk) +
                           "{\"ok\":false,\"error\":\"not valid JSON at byte 2\",\"line\":2}\n" +
                           kOk);
}

TEST_F(SessionTest, ChangesAreQueuedUnderTheClientsName) {
  send(std::string(kHello) + R"({"op":"removeHost","host":"h"})" + "\n");
  applyAll();
  ASSERT_EQ(applied_.size(), 1U);
  EXPECT_EQ(applied_[0].client, "lab");
  EXPECT_EQ(std::get<RemoveHost>(applied_[0].change).at, (HostVrf{"h", "default"}));
}

TEST_F(SessionTest, NothingIsTakenBeforeHello) {
  send(std::string(kRemoveClient) + kSync + kHello + kRemoveClient);
  EXPECT_EQ(answers(),
            "{\"ok\":false,\"error\":\"op: hello must come first\",\"line\":1}\n"
            "{\"ok\":false,\"error\":\"op: hello must come first\",\"line\":2}\n" +
                std::string(kOk) + kOk);
  EXPECT_EQ(queue_.accepted(), 1U);
}

TEST_F(SessionTest, ASecondHelloIsRefused) {
  send(std::string(kHello) + "{\"op\":\"hello\",\"client\":\"other\"}\n" + kRemoveClient);
  EXPECT_EQ(answers(), std::string(kOk) +
                           "{\"ok\":false,\"error\":\"op: hello was said already\",\"line\":2}\n" +
                           kOk);
  EXPECT_EQ(queue_.pop().client, "lab");
}

TEST_F(SessionTest, ARefusedLineQueuesNothing) {
  send(std::string(kHello) + R"({"op":"removeHost","host":""})" + "\n");
  EXPECT_TRUE(queue_.empty());
}

TEST_F(SessionTest, RefusedAndEmptyLinesAreCountedToo) {
  send("\n\n\n");
  EXPECT_EQ(answers(),
            "{\"ok\":false,\"error\":\"not valid JSON at byte 1\",\"line\":1}\n"
            "{\"ok\":false,\"error\":\"not valid JSON at byte 1\",\"line\":2}\n"
            "{\"ok\":false,\"error\":\"not valid JSON at byte 1\",\"line\":3}\n");
}

TEST_F(SessionTest, ACarriageReturnBeforeTheLineEndIsABlank) {
  send("{\"op\":\"hello\",\"client\":\"lab\"}\r\n");
  EXPECT_EQ(answers(), kOk);
}

TEST_F(SessionTest, WhatTheErrorQuotesCannotBreakTheAnswersLine) {
  send("{\"a\\\"\\n\\u0007\\u00e9\":1}\n");
  EXPECT_EQ(answers(),
            "{\"ok\":false,\"error\":\"a\\\"\\n\\u0007\\u00e9: unknown field\",\"line\":1}\n");
}

TEST_F(SessionTest, ASyncIsAnsweredOnceWhatCameBeforeItIsApplied) {
  send(std::string(kHello) + kRemoveClient + kRemoveClient + kSync);
  EXPECT_EQ(answers(), std::string(kOk) + kOk + kOk);
  EXPECT_FALSE(session_.hasWork());

  (void)queue_.pop();
  queue_.applied();
  EXPECT_FALSE(session_.hasWork());
  session_.work(never_);
  EXPECT_EQ(answers(), "");

  (void)queue_.pop();
  queue_.applied();
  EXPECT_TRUE(session_.hasWork());
  session_.work(never_);
  EXPECT_EQ(answers(), kOk);
}

TEST_F(SessionTest, ASyncWithNothingBeforeItIsAnsweredAtOnce) {
  send(std::string(kHello) + kSync + kSync);
  EXPECT_EQ(answers(), std::string(kOk) + kOk + kOk);
}

TEST_F(SessionTest, ASyncWaitsWhileWhatCameBeforeItIsWithdrawn) {
  send(std::string(kHello) + kRemoveClient);
  applyAll();
  answers();
  queue_.withdrawnIs(true);
  send(kSync);
  EXPECT_EQ(answers(), "");
  EXPECT_FALSE(session_.hasWork());
  queue_.withdrawnIs(false);
  EXPECT_TRUE(session_.hasWork());
  session_.work(never_);
  EXPECT_EQ(answers(), kOk);
}

TEST_F(SessionTest, ASyncDoesNotWaitForWhatComesLater) {
  send(std::string(kHello) + kRemoveClient + kSync);
  queue_.push({"other", RemoveClient{}});
  (void)queue_.pop();
  queue_.applied();
  session_.work(never_);
  EXPECT_EQ(answers(), std::string(kOk) + kOk + kOk);
}

TEST_F(SessionTest, LinesBehindAWaitingSyncAreNotTakenBeforeIt) {
  send(std::string(kHello) + kRemoveClient + kSync + "x\n");
  EXPECT_EQ(answers(), std::string(kOk) + kOk);
  EXPECT_FALSE(session_.wantsInput());
  applyAll();
  session_.work(never_);
  EXPECT_EQ(answers(), std::string(kOk) +
                           "{\"ok\":false,\"error\":\"not valid JSON at byte 1\",\"line\":4}\n");
  EXPECT_TRUE(session_.wantsInput());
}

TEST_F(SessionTest, AFullQueueStopsTheSessionUntilItDrains) {
  std::string lines = kHello;
  for (std::size_t i = 0; i < kCapacity + 1; ++i) {
    lines += kRemoveClient;
  }
  send(lines);
  EXPECT_EQ(queue_.accepted(), kCapacity);
  EXPECT_FALSE(session_.wantsInput());
  EXPECT_FALSE(session_.hasWork());
  applyAll();
  EXPECT_TRUE(session_.hasWork());
  session_.work(never_);
  EXPECT_EQ(queue_.accepted(), kCapacity + 1);
  EXPECT_TRUE(session_.wantsInput());
}

TEST_F(SessionTest, AClientThatReadsNoAnswersIsNotReadFromEither) {
  std::size_t sent = 0;
  while (session_.wantsInput() && sent < 1'000'000) {
    send("x\n");
    ++sent;
  }
  EXPECT_LT(session_.output().size(), 70'000U);
  EXPECT_GT(session_.output().size(), 60'000U);
  EXPECT_FALSE(session_.hasWork());
  (void)answers();
  EXPECT_TRUE(session_.wantsInput());
}

TEST_F(SessionTest, AManyLinedChunkStopsWhenTheAnswersStandUp) {
  std::string chunk;
  for (int i = 0; i < 20'000; ++i) {
    chunk += "x\n";
  }
  send(chunk);
  EXPECT_LT(session_.output().size(), 70'000U);
  int rounds = 0;
  std::size_t lines = 0;
  while (!session_.output().empty()) {
    const std::string taken = answers();
    lines += static_cast<std::size_t>(std::count(taken.begin(), taken.end(), '\n'));
    session_.work(never_);
    ++rounds;
  }
  EXPECT_EQ(lines, 20'000U);
  EXPECT_GT(rounds, 10);
}

TEST_F(SessionTest, AnOverlongLineIsRefusedAndEndsTheSession) {
  send(kHello);
  session_.receive(std::string(LineBuffer::kMaxLine, ' '));
  session_.work(never_);
  EXPECT_TRUE(session_.wantsInput());
  send(" ");
  EXPECT_EQ(
      answers(),
      std::string(kOk) + "{\"ok\":false,\"error\":\"line longer than 65536 bytes\",\"line\":2}\n");
  EXPECT_TRUE(session_.finished());
  EXPECT_FALSE(session_.wantsInput());
}

TEST_F(SessionTest, TheLongestLineIsTaken) {
  std::string line = "{\"op\":\"hello\",\"client\":\"lab\"}";
  line += std::string(LineBuffer::kMaxLine - line.size(), ' ');
  send(line);
  send("\n");
  EXPECT_EQ(answers(), kOk);
  EXPECT_FALSE(session_.finished());
}

TEST_F(SessionTest, LinesBeforeAnOverlongOneAreHandledAndAfterItNone) {
  send(std::string(kHello) + std::string(LineBuffer::kMaxLine + 1, 'x') + "\n" + kRemoveClient);
  EXPECT_EQ(
      answers(),
      std::string(kOk) + "{\"ok\":false,\"error\":\"line longer than 65536 bytes\",\"line\":2}\n");
  EXPECT_TRUE(queue_.empty());
}

TEST_F(SessionTest, HalfALineIsDroppedWhenAConnectionCloses) {
  send(std::string(kHello) + "{\"op\":\"removeClient\"}");
  session_.inputEnded(Session::End::kClosed);
  session_.work(never_);
  EXPECT_TRUE(session_.finished());
  EXPECT_TRUE(queue_.empty());
  EXPECT_EQ(answers(), kOk);
}

TEST_F(SessionTest, TheLastLineOfAFileNeedsNoLineEnd) {
  send(std::string(kHello) + "{\"op\":\"removeClient\"}");
  session_.inputEnded(Session::End::kEndOfFile);
  EXPECT_FALSE(session_.finished());
  EXPECT_TRUE(session_.hasWork());
  session_.work(never_);
  EXPECT_TRUE(session_.finished());
  EXPECT_EQ(queue_.accepted(), 1U);
  EXPECT_EQ(answers(), std::string(kOk) + kOk);
}

TEST_F(SessionTest, AFilesLastLineIsRefusedWhenItIsOverlong) {
  session_.receive(std::string(LineBuffer::kMaxLine, 'x'));
  session_.receive("x");
  session_.inputEnded(Session::End::kEndOfFile);
  session_.work(never_);
  EXPECT_EQ(answers(), "{\"ok\":false,\"error\":\"line longer than 65536 bytes\",\"line\":1}\n");
  EXPECT_TRUE(session_.finished());
}

TEST_F(SessionTest, WholeLinesThatCameBeforeTheCloseAreStillHandled) {
  session_.receive(std::string(kHello) + kRemoveClient);
  session_.inputEnded(Session::End::kClosed);
  EXPECT_FALSE(session_.finished());
  session_.work(never_);
  EXPECT_TRUE(session_.finished());
  EXPECT_EQ(queue_.accepted(), 1U);
}

TEST_F(SessionTest, AClosedConnectionWaitsForItsSync) {
  send(std::string(kHello) + kRemoveClient + kSync);
  session_.inputEnded(Session::End::kClosed);
  EXPECT_FALSE(session_.finished());
  applyAll();
  session_.work(never_);
  EXPECT_TRUE(session_.finished());
  EXPECT_EQ(answers(), std::string(kOk) + kOk + kOk);
}

TEST_F(SessionTest, OneLineIsHandledBetweenTwoYields) {
  Testing::AlwaysYield always;
  session_.receive(std::string(kHello) + kRemoveClient + "\n");
  EXPECT_TRUE(session_.work(always));
  EXPECT_TRUE(session_.work(always));
  EXPECT_FALSE(session_.work(always));
  EXPECT_EQ(queue_.accepted(), 1U);
}

/// Answers with what it was asked for.
class InspectorForTest final : public Inspector {
 public:
  std::variant<std::string, Refusal> answer(const Inspection& inspection,
                                            Ubo::YieldPolicy&) override {
    const auto* show = std::get_if<ShowEntity>(&inspection);
    if (show == nullptr) {
      return Refusal{"path: nothing there"};
    }
    return show->path;
  }
};

class InspectedSessionTest : public SessionTest {
 protected:
  std::string askedFor(std::string_view lines) {
    session_.receive(lines);
    session_.work(never_);
    std::string taken(session_.output());
    session_.outputTaken(taken.size());
    return taken;
  }

  InspectorForTest inspector_;
  Session session_{registry_, queue_, &inspector_};
};

TEST_F(InspectedSessionTest, AnInspectionNeedsNoHello) {
  EXPECT_EQ(askedFor("{\"op\":\"show\",\"path\":\"here\"}\n"), "here\n");
}

TEST_F(InspectedSessionTest, AnInspectionIsAnsweredInItsPlaceAmongTheOtherLines) {
  EXPECT_EQ(askedFor(std::string(kHello) + "{\"op\":\"show\",\"path\":\"here\"}\n" + kRemoveClient),
            std::string(kOk) + "here\n" + kOk);
}

TEST_F(InspectedSessionTest, ARefusedInspectionNamesItsLine) {
  EXPECT_EQ(askedFor("\n{\"op\":\"stats\"}\n"),
            "{\"ok\":false,\"error\":\"not valid JSON at byte 1\",\"line\":1}\n"
            "{\"ok\":false,\"error\":\"path: nothing there\",\"line\":2}\n");
}

TEST_F(InspectedSessionTest, AnswersThatNobodyTakesStopTheAsking) {
  const std::string question = "{\"op\":\"show\",\"path\":\"" + std::string(4000, 'p') + "\"}\n";
  std::size_t before = 0;
  for (int count = 0; count < 100 && session_.wantsInput(); ++count) {
    session_.receive(question);
    session_.work(never_);
    before = session_.output().size();
  }
  EXPECT_FALSE(session_.wantsInput());
  EXPECT_LT(before, 65'536U + 4'096U);
}

TEST_F(SessionTest, AFileIsRefusedInspections) {
  send("{\"op\":\"stats\"}\n");
  EXPECT_EQ(answers(),
            "{\"ok\":false,\"error\":\"op: nobody would read the answer\",\"line\":1}\n");
}

TEST_F(SessionTest, LinesAreCountedForAllSessionsTogether) {
  send(std::string(kHello) + "nonsense\n");
  Session other(registry_, queue_);
  other.receive("more nonsense\n");
  other.work(never_);
  EXPECT_EQ(registry_.lines().taken, 3U);
  EXPECT_EQ(registry_.lines().refused, 2U);
}

TEST_F(SessionTest, TheClientIsHeldWhenItsSessionGoes) {
  using namespace std::chrono_literals;
  {
    Session session(registry_, queue_);
    session.receive("{\"op\":\"hello\",\"client\":\"lab\",\"holdSeconds\":5}\n");
    session.work(never_);
    EXPECT_EQ(registry_.nextExpiry(), std::nullopt);
  }
  EXPECT_EQ(registry_.nextExpiry(), clock_.at() + 5s);
}

TEST_F(SessionTest, HowTheOctetsAreCutIntoChunksChangesNothing) {
  const std::string lines = std::string(kHello) + "\n" + R"({"op":"removeHost","host":"\u00e9"})" +
                            "\n" + kSync + "\xff\n" + "{\"op\":\"hello\"}\n" + kRemoveClient;
  const auto run = [&](auto&& chunkSize) {
    OperationQueue queue(100);
    Session session(registry_, queue);
    std::string output;
    for (std::size_t at = 0; at < lines.size();) {
      const std::size_t size = std::min<std::size_t>(chunkSize(), lines.size() - at);
      session.receive(std::string_view(lines).substr(at, size));
      at += size;
      session.work(never_);
      while (!queue.empty()) {
        (void)queue.pop();
        queue.applied();
        session.work(never_);
      }
      output += session.output();
      session.outputTaken(session.output().size());
    }
    return output;
  };
  const std::string whole = run([&] { return lines.size(); });
  EXPECT_EQ(std::count(whole.begin(), whole.end(), '\n'), 7);
  EXPECT_EQ(run([] { return std::size_t{1}; }), whole);
  std::mt19937 random(20240817);
  for (int round = 0; round < 50; ++round) {
    EXPECT_EQ(run([&] { return std::uniform_int_distribution<std::size_t>(1, 40)(random); }),
              whole);
  }
}

}  // namespace
}  // namespace Agent
