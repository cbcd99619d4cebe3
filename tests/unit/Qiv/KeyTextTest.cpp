#include "Qiv/KeyText.h"

#include <gtest/gtest.h>

#include "ConnectivityMonitor/Keys.h"
#include "Lintu/IntfId.h"
#include "Qiv/Value.h"

namespace Qiv {
namespace {

template <class Key>
std::string refusal(std::string_view text) {
  try {
    static_cast<void>(Impl::keyFromText<Key>(text));
  } catch (const InspectionError& error) {
    return error.what();
  }
  return "read";
}

/// Whether the key's text gives the key again.
template <class Key>
bool comesBack(const Key& key) {
  return Impl::keyFromText<Key>(toText(Impl::toValue(key))) == key;
}

TEST(KeyText, AKeyThatIsATextIsThatText) {
  EXPECT_EQ(Impl::keyFromText<Pomel::String>("a,%b"), "a,%b");
  EXPECT_EQ(Impl::keyFromText<Pomel::String>(""), "");
  EXPECT_TRUE(comesBack(Lintu::IntfId("eth1,%")));
}

TEST(KeyText, AKeyOfFieldsComesBackFromItsText) {
  EXPECT_TRUE(comesBack(ConnectivityMonitor::HostNameVrfKey("a,b\n", "%blue")));
  EXPECT_TRUE(comesBack(
      ConnectivityMonitor::TcpStatsKey{"eth1", 443, *Lintu::IpGenAddr::parse("2001:db8::1")}));
}

TEST(KeyText, TextThatIsNoKeyIsRefusedInWords) {
  using ConnectivityMonitor::HostNameVrfKey;
  using ConnectivityMonitor::TcpStatsKey;
  EXPECT_EQ(refusal<HostNameVrfKey>("a"), "not a key: wrong number of fields");
  EXPECT_EQ(refusal<HostNameVrfKey>("a,%g0"), "not a key: malformed");
  EXPECT_EQ(refusal<TcpStatsKey>("eth1,65536,192.0.2.1"),
            "not a key: port: not a number from 0 to 65535");
}

}  // namespace
}  // namespace Qiv
