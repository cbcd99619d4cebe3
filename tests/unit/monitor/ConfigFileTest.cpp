#include "monitor/config/ConfigFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

namespace Monitor {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kHead = "client: lab\nagent: {socket: feed.sock}\n";

std::vector<std::string> problemsOf(const std::string& text) {
  try {
    (void)parseConfig(text, "f.yaml");
  } catch (const ConfigError& error) {
    return error.lines();
  }
  return {};
}

std::vector<std::filesystem::path> corpus(const std::string& kind) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry :
       std::filesystem::directory_iterator(std::filesystem::path(CONMON_CORPUS) / kind)) {
    files.push_back(entry.path());
  }
  return files;
}

std::string contents(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(ConfigFile, ProbesTakeTheDefaultsThatTheyDoNotOverride) {
  const Config config = parseConfig(kHead + R"(
defaults: {interval: 5s, timeout: 500ms, burst: 3, burst-gap: 10ms}
hosts:
  - name: web1
    address: 192.0.2.10
    icmp: [{}, {interface: eth1, interval: 20s, timeout: 2s, burst: 7, burst-gap: 30ms}]
)",
                                    "f.yaml");
  ASSERT_EQ(config.probes.size(), 2U);
  EXPECT_EQ(config.probes[0].interval, 5s);
  EXPECT_EQ(config.probes[0].timeout, 500ms);
  EXPECT_EQ(std::get<IcmpParameters>(config.probes[0].parameters), (IcmpParameters{3, 10ms}));
  EXPECT_EQ(config.probes[1].interval, 20s);
  EXPECT_EQ(config.probes[1].timeout, 2s);
  EXPECT_EQ(std::get<IcmpParameters>(config.probes[1].parameters), (IcmpParameters{7, 30ms}));
  EXPECT_EQ(config.probes[1].binding.interface, "eth1");
}

TEST(ConfigFile, WithoutDefaultsABurstIsFivePackets20MillisecondsApart) {
  const Config config = parseConfig(kHead + "hosts: [{name: a.example, icmp: }]\n", "f.yaml");
  ASSERT_EQ(config.probes.size(), 1U);
  EXPECT_EQ(config.probes[0].interval, 10s);
  EXPECT_EQ(config.probes[0].timeout, 1s);
  EXPECT_EQ(std::get<IcmpParameters>(config.probes[0].parameters), (IcmpParameters{5, 20ms}));
  EXPECT_EQ(config.agent.hold, 60s);
}

TEST(ConfigFile, TheHostsNameIsItsAddressUnlessOneIsGiven) {
  const Config config = parseConfig(kHead + R"(
hosts:
  - {name: a.example, tcp: [{port: 1}, {port: 1, address: 192.0.2.1}]}
  - {name: b, address: 192.0.2.2, tcp: [{port: 1}, {port: 1, address: b.example}]}
)",
                                    "f.yaml");
  std::vector<std::string> destinations;
  for (const ProbeConfig& probe : config.probes) {
    destinations.push_back(probe.destination);
  }
  EXPECT_THAT(destinations, ElementsAre("a.example", "192.0.2.1", "192.0.2.2", "b.example"));
}

TEST(ConfigFile, AnHttpProbeConnectsToItsUrlsHostUnlessAnAddressIsGiven) {
  const Config config = parseConfig(kHead + R"(
hosts:
  - name: a
    address: 192.0.2.9
    http:
      - url: https://[2001:db8::1]/
      - {url: "http://www.example.net/", address: 192.0.2.1, expected-status: [404, 500-503],
         method: HEAD, headers: {X-A: b}, verify-tls: false, ca-file: /etc/ca.pem}
)",
                                    "f.yaml");
  ASSERT_EQ(config.probes.size(), 2U);
  EXPECT_EQ(config.probes[0].destination, "2001:db8::1");
  const auto& plain = std::get<HttpParameters>(config.probes[0].parameters);
  EXPECT_TRUE(plain.verifyTls);
  EXPECT_EQ(plain.method, "GET");
  EXPECT_THAT(plain.expectedStatus, ElementsAre(StatusRange{200, 399}));
  EXPECT_EQ(config.probes[1].destination, "192.0.2.1");
  const auto& full = std::get<HttpParameters>(config.probes[1].parameters);
  EXPECT_FALSE(full.verifyTls);
  EXPECT_EQ(full.method, "HEAD");
  EXPECT_EQ(full.caFile, "/etc/ca.pem");
  EXPECT_THAT(full.expectedStatus, ElementsAre(StatusRange{404, 404}, StatusRange{500, 503}));
  EXPECT_THAT(full.headers, ElementsAre(std::pair<std::string, std::string>("X-A", "b")));
}

TEST(ConfigFile, AVrfIsADeviceOrANamespaceAndTheDefaultOneIsAlwaysThere) {
  const Config config = parseConfig(kHead + R"(
vrfs:
  blue: {device: vrf-blue}
  red: {netns: red-ns, name-servers: ["192.0.2.53", "[2001:db8::53]:5353"]}
hosts: [{name: a, vrf: blue, address: 192.0.2.1, tcp: {port: 1, interface: eth1}}]
)",
                                    "f.yaml");
  ASSERT_EQ(config.vrfs.size(), 3U);
  EXPECT_EQ(config.vrfs[0].name, "default");
  EXPECT_EQ(config.vrfs[1].binding.device, "vrf-blue");
  EXPECT_EQ(config.vrfs[2].binding.netns, "red-ns");
  EXPECT_THAT(config.vrfs[2].nameServers,
              ElementsAre(NameServer{*IpAddress::parse("192.0.2.53"), 53},
                          NameServer{*IpAddress::parse("2001:db8::53"), 5353}));
  ASSERT_EQ(config.probes.size(), 1U);
  EXPECT_EQ(config.probes[0].vrf, "blue");
  EXPECT_EQ(config.probes[0].binding, (Binding{"", "vrf-blue", "eth1"}));
}

TEST(ConfigFile, RelativePathsAreRelativeToTheFile) {
  const Config config = parseConfig(
      "client: a\nagent: {socket: feed.sock}\nstatus-socket: /run/s\nhosts: []\n", "/etc/x/f.yaml");
  EXPECT_EQ(config.agent.socket, "/etc/x/feed.sock");
  EXPECT_EQ(config.statusSocket, "/run/s");
}

TEST(ConfigFile, EveryProblemIsToldWithItsFileLineAndPath) {
  EXPECT_THAT(
      problemsOf("client: 5\n"
                 "agent: {socket: s, port: 1}\n"
                 "hosts:\n"
                 "  - name: a\n"
                 "    address: 192.0.2.300\n"
                 "    tcp:\n"
                 "      - port: http\n"
                 "        intervall: 5s\n"),
      testing::UnorderedElementsAre(
          "f.yaml:1: client: expected a text of 1 to 255 bytes without control characters (in "
          "quotes, to be no number or boolean), found \"5\"",
          "f.yaml:2: agent.port: unknown key, expected one of: socket, hold",
          "f.yaml:5: hosts[0].address: expected an IPv4 address, an IPv6 address or a domain name, "
          "found \"192.0.2.300\"",
          "f.yaml:7: hosts[0].tcp[0].port: expected a whole number from 1 to 65535, found \"http\"",
          "f.yaml:8: hosts[0].tcp[0].intervall: unknown key, expected one of: interval, timeout, "
          "interface, port, address"));
}

TEST(ConfigFile, AMissingKeyIsToldAtTheMapThatLacksIt) {
  EXPECT_THAT(
      problemsOf("client: a\nagent: {socket: s}\nhosts:\n  - name: b.example\n    http: {}\n"),
      ElementsAre("f.yaml:5: hosts[0].http.url: expected an http or https URL of at most "
                  "255 bytes, without user name, password and fragment, but it is missing"));
}

TEST(ConfigFile, AYamlErrorHasItsLine) {
  EXPECT_THAT(problemsOf("client: a\nagent: {socket: s\n"),
              ElementsAre(testing::MatchesRegex("f\\.yaml:[0-9]+: .+")));
}

TEST(ConfigFile, ASecondDocumentIsRefused) {
  EXPECT_THAT(problemsOf(kHead + "hosts: []\n---\nclient: b\n"),
              ElementsAre("f.yaml:4: expected one document, here begins another"));
}

TEST(ConfigFile, ATextInWhichYamlFindsDocumentsWithoutEndIsRefused) {
  for (const char* text : {",U", ",lient: a\nagent: {socket: s}\nhosts: []\n"}) {
    EXPECT_THAT(problemsOf(text),
                ElementsAre("f.yaml:1: expected one document, here begins another"));
  }
}

TEST(ConfigFile, AFaultyHeaderIsNamedButNeverShown) {
  const auto problems = problemsOf(
      kHead +
      "hosts: [{name: a, http: {url: 'http://a/', headers: {Authorization: \"se\\tcret\"}}}]");
  EXPECT_THAT(problems, ElementsAre(HasSubstr("hosts[0].http.headers.Authorization: expected")));
  EXPECT_THAT(problems, ElementsAre(testing::Not(HasSubstr("cret"))));
}

TEST(ConfigFile, AUrlWithAPasswordIsRefusedAndNotShown) {
  const auto problems =
      problemsOf(kHead + "hosts: [{name: a, http: {url: 'http://me:secret@a/'}}]");
  EXPECT_THAT(problems, ElementsAre(testing::Not(HasSubstr("secret"))));
}

TEST(ConfigFile, AHugeWordIsRefusedLikeAnyOther) {
  constexpr std::size_t kMegabyte = 1 << 20;
  const std::string huge(kMegabyte, '1');
  EXPECT_THAT(problemsOf(kHead + "defaults: {interval: " + huge + "}\nhosts: []\n"),
              testing::SizeIs(1));
  EXPECT_THAT(problemsOf(kHead + "hosts: [{name: a, http: {url: 'http://a/" + huge + "'}}]\n"),
              testing::SizeIs(1));
  EXPECT_THAT(problemsOf(kHead + "hosts: [{name: a, address: a." + huge + ", icmp: }]\n"),
              testing::SizeIs(1));
}

TEST(ConfigFile, AFileThatCannotBeReadIsNamedWithTheReason) {
  try {
    (void)readConfigFile("/nonexistent/f.yaml");
    FAIL() << "was read";
  } catch (const ConfigError& error) {
    EXPECT_STREQ(error.what(), "/nonexistent/f.yaml: No such file or directory");
  }
  EXPECT_THROW((void)readConfigFile("/"), ConfigError);
}

TEST(ConfigFile, EveryGoodFileOfTheCorpusIsAccepted) {
  const auto files = corpus("good");
  ASSERT_THAT(files, testing::Not(IsEmpty()));
  for (const auto& file : files) {
    EXPECT_NO_THROW((void)readConfigFile(file)) << file;
  }
}

TEST(ConfigFile, EveryBadFileOfTheCorpusIsRefusedWithFileAndLine) {
  const auto files = corpus("bad");
  ASSERT_THAT(files, testing::Not(IsEmpty()));
  for (const auto& file : files) {
    const auto problems = problemsOf(contents(file));
    EXPECT_THAT(problems, testing::Not(IsEmpty())) << file;
    EXPECT_THAT(problems, testing::Each(testing::ContainsRegex("^f\\.yaml:[0-9]+: "))) << file;
  }
}

TEST(ConfigFile, WhatOnlyTheParserCanTellIsRefusedWithTheProblemThatTheFileNames) {
  const auto files = corpus("bad-by-meaning");
  ASSERT_THAT(files, testing::Not(IsEmpty()));
  const std::regex head("# expect ([0-9]+): (.*)");
  for (const auto& file : files) {
    const std::string text = contents(file);
    const std::string first = text.substr(0, text.find('\n'));
    std::smatch expected;
    ASSERT_TRUE(std::regex_match(first, expected, head)) << file;
    EXPECT_THAT(problemsOf(text), ElementsAre("f.yaml:" + expected.str(1) + ": " + expected.str(2)))
        << file;
  }
}

TEST(ProbeIdentity, StaysWhenSettingsChangeAndDiffersWhereRowsDiffer) {
  const Config config = parseConfig(kHead + R"(
vrfs: {blue: {device: b}}
hosts:
  - {name: a, address: 192.0.2.1, tcp: [{port: 1}, {port: 2}, {port: 1, interface: eth1}], icmp: }
  - {name: a, address: 192.0.2.1, vrf: blue, tcp: {port: 1}}
  - {name: b, address: 192.0.2.1, tcp: {port: 1}}
)",
                                    "f.yaml");
  std::set<std::string> identities;
  for (ProbeConfig probe : config.probes) {
    const std::string identity = probe.identity();
    probe.timeout += 1s;
    probe.interval += 1s;
    EXPECT_EQ(probe.identity(), identity);
    identities.insert(identity);
  }
  EXPECT_EQ(identities.size(), config.probes.size());
}

}  // namespace
}  // namespace Monitor
