#include "ctl/commands/SnmpdConfText.h"

#include <gtest/gtest.h>

namespace Ctl {
namespace {

SnmpdConf conf() {
  return {.standalone = {}, .community = "public", .source = "127.0.0.1", .users = {}};
}

/// The lines that are no comments.
std::string settings(const SnmpdConf& conf, const std::vector<std::string>& vrfs) {
  std::string kept;
  std::string text = snmpdConfText(conf, vrfs);
  for (std::size_t end = 0; (end = text.find('\n')) != std::string::npos; text.erase(0, end + 1)) {
    if (end > 0 && text.front() != '#') {
      kept += text.substr(0, end + 1);
    }
  }
  return kept;
}

TEST(SnmpdConfText, AnAgentxMasterMapsACommunityToEachContext) {
  SnmpdConf asked = conf();
  asked.users = {"demo"};
  EXPECT_EQ(settings(asked, {"default", "blue"}),
            "master agentx\n"
            "view conmon included .1.3.6.1.4.1.61111.3.38\n"
            "group conmon v2c conmon\n"
            "access conmon \"\" v2c noauth prefix conmon none none\n"
            "com2sec conmon 127.0.0.1 public\n"
            "com2sec -Cn blue conmon 127.0.0.1 public@blue\n"
            "rouser demo priv -V conmon *\n");
}

TEST(SnmpdConfText, AStandaloneAgentIsAskedContextByContext) {
  SnmpdConf asked = conf();
  asked.standalone = "udp:127.0.0.1:1161";
  EXPECT_EQ(settings(asked, {"default", "blue"}),
            "view conmon included .1.3.6.1.4.1.61111.3.38\n"
            "group conmon v2c conmon\n"
            "access conmon \"\" v2c noauth prefix conmon none none\n"
            "com2sec conmon 127.0.0.1 public\n"
            "proxy -v2c -c public udp:127.0.0.1:1161 .1.3.6.1.4.1.61111.3.38\n"
            "com2sec -Cn blue conmon 127.0.0.1 public@blue\n"
            "proxy -Cn blue -v2c -c public@blue udp:127.0.0.1:1161 .1.3.6.1.4.1.61111.3.38\n");
}

TEST(SnmpdConfText, NamesThatAreNoWordsAreQuoted) {
  const std::string text = settings(conf(), {"a b\"c\\"});
  EXPECT_NE(text.find(R"(com2sec -Cn "a b\"c\\" conmon 127.0.0.1 "public@a b\"c\\")"),
            std::string::npos)
      << text;
}

TEST(SnmpdConfText, ANameWithALineEndBecomesNoLine) {
  const std::string text = snmpdConfText(conf(), {"a\nrwcommunity evil"});
  EXPECT_EQ(text.find("\nrwcommunity"), std::string::npos);
  EXPECT_NE(text.find("# VRF a\\x0arwcommunity evil\n# Its name has a line end"), std::string::npos)
      << text;
}

}  // namespace
}  // namespace Ctl
