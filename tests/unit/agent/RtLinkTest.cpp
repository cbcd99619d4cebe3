#include "agent/interfaces/RtLink.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "LinkTesting.h"

namespace Agent {
namespace {

using namespace Testing;

/// In a buffer of just its size, so that a sanitizer sees every octet that is read too much.
std::optional<std::vector<RtMessage>> parse(const Octets& datagram) {
  const auto exact = std::make_unique<std::byte[]>(datagram.size());
  std::ranges::copy(datagram, exact.get());
  return parseRtDatagram({exact.get(), datagram.size()});
}

TEST(RtLink, ALinkIsReadWithItsNameAndIndex) {
  const auto messages = parse(link("eth0", 7, {.sequence = 5}));
  ASSERT_TRUE(messages);
  ASSERT_EQ(messages->size(), 1U);
  EXPECT_EQ(messages->front().sequence, 5U);
  EXPECT_FALSE(messages->front().interrupted);
  EXPECT_EQ(std::get<LinkPresent>(messages->front().what), (LinkPresent{7, "eth0"}));
}

TEST(RtLink, OneDatagramMayHoldManyMessages) {
  const auto messages =
      parse(joined({link("a", 1), goneLink("b", 2), link("c", 3, {.flags = NLM_F_DUMP_INTR}),
                    end(9), end(9, EBUSY)}));
  ASSERT_TRUE(messages);
  ASSERT_EQ(messages->size(), 5U);
  EXPECT_EQ(std::get<LinkGone>((*messages)[1].what), LinkGone{2});
  EXPECT_TRUE((*messages)[2].interrupted);
  EXPECT_EQ(std::get<AnswerEnd>((*messages)[3].what), AnswerEnd{0});
  EXPECT_EQ(std::get<AnswerEnd>((*messages)[4].what), AnswerEnd{EBUSY});
}

TEST(RtLink, ANameOf15OctetsIsTakenWhole) {
  const std::string name(15, 'x');
  EXPECT_EQ(std::get<LinkPresent>(parse(link(name, 1))->front().what).name, name);
}

bool saysNothing(const Octets& datagram) {
  const auto messages = parse(datagram);
  return messages && messages->size() == 1 &&
         std::holds_alternative<std::monostate>(messages->front().what);
}

TEST(RtLink, WhatABridgeSaysOfItsPortsDoesNotMatter) {
  EXPECT_TRUE(saysNothing(link("eth0", 7, {.family = AF_BRIDGE})));
  EXPECT_TRUE(saysNothing(link("eth0", 7, {.type = RTM_DELLINK, .family = AF_BRIDGE})));
}

TEST(RtLink, ALinkWithoutAUsableIndexOrNameDoesNotMatter) {
  EXPECT_TRUE(saysNothing(link("eth0", 0)));
  EXPECT_TRUE(saysNothing(link("eth0", -1)));
  EXPECT_TRUE(saysNothing(link("", 7)));
  Octets nameless = head(RTM_NEWLINK, 0);
  append(nameless, ifinfomsg{});
  seal(nameless);
  EXPECT_TRUE(saysNothing(nameless));
}

TEST(RtLink, OtherKindsOfMessagesDoNotMatter) {
  EXPECT_TRUE(saysNothing(link("eth0", 7, {.type = RTM_NEWADDR})));
  Octets noop = head(NLMSG_NOOP, 0);
  seal(noop);
  EXPECT_TRUE(saysNothing(noop));
}

TEST(RtLink, ALinkThatIsCutOffBeforeItsFixedPartDoesNotMatter) {
  for (std::size_t size = 0; size < sizeof(ifinfomsg); ++size) {
    Octets message = head(RTM_NEWLINK, 0);
    message.resize(message.size() + size);
    seal(message);
    EXPECT_TRUE(saysNothing(message)) << size;
  }
}

TEST(RtLink, AnEndWithoutAWordIsNoSuccess) {
  for (const int type : {NLMSG_DONE, NLMSG_ERROR}) {
    Octets message = head(static_cast<std::uint16_t>(type), 3);
    seal(message);
    EXPECT_NE(std::get<AnswerEnd>(parse(message)->front().what).error, 0) << type;
  }
}

TEST(RtLink, AnAttributeThatLiesAboutItsLengthIsNotRead) {
  for (const unsigned short length :
       std::initializer_list<unsigned short>{0, 1, 3, 4, 100, 0xffff}) {
    Octets message = head(RTM_NEWLINK, 0);
    ifinfomsg info{};
    info.ifi_index = 7;
    append(message, info);
    append(message, rtattr{length, IFLA_IFNAME});
    append(message, std::array{'e', 't', 'h', '\0'});
    seal(message);
    EXPECT_TRUE(saysNothing(message)) << length;
  }
}

TEST(RtLink, ANameWithoutItsEndIsNotRead) {
  Octets message = head(RTM_NEWLINK, 0);
  ifinfomsg info{};
  info.ifi_index = 7;
  append(message, info);
  appendAttribute(message, IFLA_IFNAME, "ethernet");
  seal(message);
  EXPECT_TRUE(saysNothing(message));
}

TEST(RtLink, AMessageThatLiesAboutItsLengthBreaksTheDatagram) {
  for (const std::uint32_t length : {0U, 1U, 15U, 4096U, 0x7fffffffU, 0x80000000U, 0xffffffffU}) {
    Octets datagram = joined({link("a", 1), link("b", 2)});
    std::memcpy(datagram.data() + link("a", 1).size(), &length, sizeof length);
    EXPECT_FALSE(parse(datagram)) << length;
  }
}

TEST(RtLink, ADatagramThatIsCutOffAnywhereIsBroken) {
  const Octets whole = link("eth0", 7);
  EXPECT_TRUE(parse({})->empty());
  for (std::size_t size = 1; size < whole.size(); ++size) {
    EXPECT_FALSE(parse(Octets(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))))
        << size;
  }
}

TEST(RtLink, AnEndWhoseErrorTheKernelDoesNotHaveIsNoSuccess) {
  for (const int word :
       {1, 4711, -4096, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    Octets message = head(NLMSG_DONE, 3);
    append(message, word);
    seal(message);
    EXPECT_EQ(std::get<AnswerEnd>(parse(message)->at(0).what), AnswerEnd{EBADMSG}) << word;
  }
}

TEST(RtLink, TheLastMessagesPaddingMayBeMissing) {
  Octets message = head(NLMSG_DONE, 3);
  append(message, 0);
  message.push_back({});
  seal(message, false);
  ASSERT_NE(message.size() % NLMSG_ALIGNTO, 0U);
  EXPECT_EQ(parse(message)->size(), 1U);
}

TEST(RtLink, AnyOctetsAreReadWithoutHarm) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  const Octets sound = joined({link("eth0", 7), goneLink("eth1", 8), end(3), end(3, EBUSY)});
  for (int round = 0; round < 20'000; ++round) {
    Octets datagram = sound;
    for (unsigned change = random() % 8; change > 0; --change) {
      datagram[random() % datagram.size()] = static_cast<std::byte>(random());
    }
    datagram.resize(random() % (datagram.size() + 1));
    const auto messages = parse(datagram);
    for (const RtMessage& message : messages.value_or(std::vector<RtMessage>())) {
      if (const auto* link = std::get_if<LinkPresent>(&message.what)) {
        ASSERT_GT(link->index, 0U);
        ASSERT_LE(link->index, 0x7fffffffU);
        ASSERT_EQ(link->name.find('\0'), std::string::npos);
      }
    }
  }
}

TEST(RtLink, TheRequestAsksForAListOfAllLinks) {
  const auto request = makeLinkDumpRequest(42);
  nlmsghdr header{};
  std::memcpy(&header, request.data(), sizeof header);
  EXPECT_EQ(header.nlmsg_len, request.size());
  EXPECT_EQ(header.nlmsg_type, RTM_GETLINK);
  EXPECT_EQ(header.nlmsg_flags, NLM_F_REQUEST | NLM_F_DUMP);
  EXPECT_EQ(header.nlmsg_seq, 42U);
}

}  // namespace
}  // namespace Agent
