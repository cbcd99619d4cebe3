#include "agent/feed/ContextLimit.h"

#include "SessionTesting.h"

namespace Agent {
namespace {

using namespace Testing;

class SessionWithALimit : public SessionTest {
 protected:
  static std::string put(const char* vrf) {
    return std::string(R"({"op":"put","host":"h","vrf":")") + vrf +
           R"(","probe":"http","url":"u"})" + "\n";
  }
  void tell(const std::string& lines) {
    limited_.receive(lines);
    limited_.work(never_);
  }
  std::string heard() {
    std::string taken(limited_.output());
    limited_.outputTaken(taken.size());
    return taken;
  }

  OperationQueue two_{100, ContextLimit(2)};
  Session limited_{registry_, two_};
};

TEST_F(SessionWithALimit, AVrfBeyondItIsRefusedAndNothingIsQueued) {
  tell(kHello + put("blue") + put("red") + put("green"));
  EXPECT_EQ(heard(),
            std::string(kOk) + kOk + kOk +
                "{\"ok\":false,\"error\":\"vrf: \\\"green\\\" would be one more than the 2 VRFs "
                "that may be named while the agent runs (max-contexts)\",\"line\":4}\n");
  EXPECT_EQ(two_.accepted(), 2U);
}

TEST_F(SessionWithALimit, AKnownVrfAndTheDefaultOneCountOnce) {
  tell(kHello + put("blue") + put("blue") + put("default") + put("") + put("red") + put("blue"));
  EXPECT_EQ(heard(), std::string(kOk) + kOk + kOk + kOk + kOk + kOk + kOk);
  EXPECT_EQ(two_.contexts().used(), 2U);
}

TEST_F(SessionWithALimit, AVrfWithoutRecordsIsNotForgotten) {
  tell(kHello + put("blue") + put("red") + kRemoveClient + put("green"));
  EXPECT_NE(heard().find("\"line\":5"), std::string::npos);
}

TEST_F(SessionWithALimit, OnlyPutsCount) {
  tell(std::string(kHello) + R"({"op":"removeHost","host":"h","vrf":"green"})" + "\n" +
       R"({"op":"remove","host":"h","vrf":"white","probe":"http","url":"u"})" + "\n" + put("blue") +
       put("red"));
  EXPECT_EQ(heard(), std::string(kOk) + kOk + kOk + kOk + kOk);
}

TEST_F(SessionWithALimit, AllSessionsCountTogether) {
  Session other(registry_, two_);
  other.receive(std::string(kHello) + put("blue") + put("red"));
  other.work(never_);
  tell(kHello + put("green") + put("red"));
  EXPECT_EQ(two_.accepted(), 3U);
  EXPECT_NE(heard().find("green"), std::string::npos);
}

}  // namespace
}  // namespace Agent
