#include "agent/control/ListAnswer.h"

#include <gtest/gtest.h>

#include "FeedTesting.h"

namespace Agent {
namespace {

/// The answer to a request for numbers from 0 on, as far as one piece goes.
std::string piece(std::uint32_t limit, Ubo::YieldPolicy& yield, int count,
                  const std::string& text) {
  Page page;
  page.limit = limit;
  ListAnswer list(page, yield);
  for (int item = 0; item < count && list.takesMore(); ++item) {
    list.add(Json(text), std::to_string(item));
  }
  return list.text(Json{{"ok", true}}, "items");
}

TEST(ListAnswer, AWholeListNamesNoNext) {
  Testing::NeverYield never;
  EXPECT_EQ(piece(10, never, 0, ""), R"({"ok":true,"items":[]})");
  EXPECT_EQ(piece(10, never, 2, "x"), R"({"ok":true,"items":["x","x"]})");
}

TEST(ListAnswer, APieceEndsAtTheLimitAndNamesItsLastItem) {
  Testing::NeverYield never;
  EXPECT_EQ(piece(2, never, 3, "x"), R"({"ok":true,"items":["x","x"],"next":"1"})");
}

TEST(ListAnswer, APieceEndsWithTheSliceButHasAnItem) {
  Testing::AlwaysYield always;
  EXPECT_EQ(piece(10, always, 3, "x"), R"({"ok":true,"items":["x"],"next":"0"})");
}

TEST(ListAnswer, APieceEndsWhereItGetsLong) {
  Testing::NeverYield never;
  const std::string answer = piece(1000, never, 1000, std::string(1000, 'x'));
  EXPECT_GT(answer.size(), ListAnswer::kMaxBytes);
  EXPECT_LT(answer.size(), ListAnswer::kMaxBytes + 2000);
}

TEST(ListAnswer, ALineIsAsciiWhateverIsInIt) {
  EXPECT_EQ(lineOf(Json("\n\x1b")), R"("\n\u001b")");
  EXPECT_EQ(lineOf(Json("\xc3\xa9")), R"("\u00e9")");
  EXPECT_EQ(lineOf(Json("\xff")), R"("\ufffd")");
}

}  // namespace
}  // namespace Agent
