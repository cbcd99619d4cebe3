#include "monitor/net/Binding.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>

#include "tests/unit/monitor/ServerTesting.h"

namespace Monitor {
namespace {

using namespace Testing;

ino_t presentNamespace() {
  struct stat status {};
  EXPECT_EQ(::stat("/proc/thread-self/ns/net", &status), 0);
  return status.st_ino;
}

TEST(OpenSocket, BindsToTheInterfaceRatherThanToTheVrfsDevice) {
  const auto opened = openSocket({"", "nosuchvrf0", "lo"}, AF_INET, SOCK_DGRAM, 0);
  ASSERT_TRUE(std::holds_alternative<UniqueFd>(opened));
  std::array<char, 16> name{};
  socklen_t length = name.size();
  ASSERT_EQ(::getsockopt(std::get<UniqueFd>(opened).get(), SOL_SOCKET, SO_BINDTODEVICE, name.data(),
                         &length),
            0);
  EXPECT_STREQ(name.data(), "lo");
}

TEST(OpenSocket, WithoutInterfaceBindsToTheVrfsDevice) {
  const auto opened = openSocket({"", "nosuchvrf0", ""}, AF_INET, SOCK_DGRAM, 0);
  ASSERT_TRUE(std::holds_alternative<SocketError>(opened));
  EXPECT_EQ(std::get<SocketError>(opened).error, ENODEV);
  EXPECT_EQ(std::get<SocketError>(opened).text, "interface nosuchvrf0: No such device");
}

TEST(OpenSocket, IsNonBlockingAndClosedOnExec) {
  const auto opened = openSocket({}, AF_INET6, SOCK_STREAM, 0);
  ASSERT_TRUE(std::holds_alternative<UniqueFd>(opened));
  const int fd = std::get<UniqueFd>(opened).get();
  EXPECT_NE(::fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
  EXPECT_NE(::fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
}

TEST(OpenSocket, TheProcessIsBackInItsOwnNamespaceAfterwards) {
  const ino_t before = presentNamespace();
  const TestNamespace netns("conmon-binding");
  ASSERT_TRUE(std::holds_alternative<UniqueFd>(
      openSocket({netns.name(), "", ""}, AF_INET, SOCK_STREAM, 0)));
  EXPECT_EQ(presentNamespace(), before);
  ASSERT_TRUE(std::holds_alternative<SocketError>(
      openSocket({netns.name(), "", "nosuchif0"}, AF_INET, SOCK_STREAM, 0)));
  EXPECT_EQ(presentNamespace(), before);
  ASSERT_TRUE(std::holds_alternative<SocketError>(
      openSocket({netns.name(), "", ""}, AF_INET, SOCK_STREAM, 9999)));
  EXPECT_EQ(presentNamespace(), before);
}

TEST(IpAddress, TextsAreParsedAndPrintedInTheirCanonicalForm) {
  EXPECT_EQ(IpAddress::parse("192.0.2.1")->text(), "192.0.2.1");
  EXPECT_EQ(IpAddress::parse("2001:DB8:0:0::1")->text(), "2001:db8::1");
  EXPECT_EQ(IpAddress().text(), "0.0.0.0");
  for (const char* text :
       {"", "192.0.2", "192.0.2.256", "1.2.3.4 ", "fe80::1%lo", "a.example", "::g"}) {
    EXPECT_FALSE(IpAddress::parse(text)) << text;
  }
  EXPECT_FALSE(IpAddress::parse(std::string_view("1.2.3.4\0x", 9)));
}

TEST(IpAddress, TheFamiliesAreToldApart) {
  EXPECT_NE(*IpAddress::parse("0.0.0.0"), *IpAddress::parse("::"));
  EXPECT_FALSE(IpAddress::parse("0.0.0.0")->isV6());
  EXPECT_TRUE(IpAddress::parse("::ffff:192.0.2.1")->isV6());
}

}  // namespace
}  // namespace Monitor
