#include "agent/feed/LineBuffer.h"

#include <gtest/gtest.h>

namespace Agent {
namespace {

TEST(LineBuffer, LinesComeOutInOrderWithoutTheirEnds) {
  LineBuffer buffer;
  buffer.append("one\ntwo\n\nfo");
  EXPECT_EQ(buffer.next(), "one");
  EXPECT_EQ(buffer.next(), "two");
  EXPECT_EQ(buffer.next(), "");
  EXPECT_EQ(buffer.next(), std::nullopt);
  buffer.append("ur\n");
  EXPECT_EQ(buffer.next(), "four");
  EXPECT_EQ(buffer.size(), 0U);
}

TEST(LineBuffer, ALineMayComeOctetByOctet) {
  LineBuffer buffer;
  for (const char* octet : {"a", "b", "c"}) {
    buffer.append(octet);
    EXPECT_FALSE(buffer.hasLine());
  }
  buffer.append("\n");
  EXPECT_EQ(buffer.next(), "abc");
}

TEST(LineBuffer, TheLongestLineIsALine) {
  LineBuffer buffer;
  const std::string longest(LineBuffer::kMaxLine, 'x');
  buffer.append(longest);
  EXPECT_FALSE(buffer.overlong());
  buffer.append("\nnext\n");
  EXPECT_EQ(buffer.next(), longest);
  EXPECT_EQ(buffer.next(), "next");
}

TEST(LineBuffer, OneOctetMoreIsOverlongBeforeTheLineHasEnded) {
  LineBuffer buffer;
  buffer.append(std::string(LineBuffer::kMaxLine + 1, 'x'));
  EXPECT_TRUE(buffer.overlong());
  buffer.append("\n");
  EXPECT_TRUE(buffer.overlong());
  EXPECT_FALSE(buffer.hasLine());
  EXPECT_EQ(buffer.next(), std::nullopt);
  EXPECT_EQ(buffer.takeRest(), std::nullopt);
}

TEST(LineBuffer, LinesBeforeAnOverlongOneAreStillGiven) {
  LineBuffer buffer;
  buffer.append("one\n" + std::string(LineBuffer::kMaxLine + 1, 'x'));
  EXPECT_FALSE(buffer.overlong());
  EXPECT_EQ(buffer.next(), "one");
  EXPECT_TRUE(buffer.overlong());
}

TEST(LineBuffer, TheRestIsWhatStandsBehindTheLastLineEnd) {
  LineBuffer buffer;
  buffer.append("one\ntw");
  EXPECT_EQ(buffer.takeRest(), std::nullopt) << "a whole line comes first";
  EXPECT_EQ(buffer.next(), "one");
  EXPECT_EQ(buffer.takeRest(), "tw");
  EXPECT_EQ(buffer.takeRest(), std::nullopt);
  EXPECT_EQ(buffer.size(), 0U);
}

}  // namespace
}  // namespace Agent
