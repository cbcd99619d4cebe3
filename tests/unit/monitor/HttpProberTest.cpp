#include "monitor/http/HttpProber.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <optional>

#include "tests/unit/monitor/HttpServerTesting.h"

namespace Monitor {
namespace {

using namespace std::chrono_literals;
using namespace Testing;
using testing::HasSubstr;
using testing::StartsWith;

class HttpProberTest : public testing::Test {
 protected:
  static HttpParameters url(const std::string& text) {
    HttpParameters http;
    http.url = text;
    http.expectedStatus = {{200, 399}};
    return http;
  }
  static std::string urlOf(const HttpServer& server, const std::string& host = "127.0.0.1",
                           const std::string& scheme = "http") {
    return scheme + "://" + host + ":" + std::to_string(server.port()) + "/x?y=1";
  }
  static ProbeSpec to(const HttpParameters& http, const std::string& address = "127.0.0.1",
                      const Binding& binding = {}, std::chrono::nanoseconds timeout = 30s) {
    return {binding, *IpAddress::parse(address), 60s, timeout, http};
  }

  /// A round against a server that says just this, whatever it is asked, and hangs up.
  Result roundAgainst(std::string_view answer) {
    const UniqueFd server = listener("127.0.0.1");
    UniqueFd client;
    std::optional<Event> asked;
    Event accepting(loop_.base(), server.get(), EV_READ, [&](short) {
      client = UniqueFd(::accept(server.get(), nullptr, nullptr));
      asked.emplace(loop_.base(), client.get(), EV_READ, [&](short) {
        std::array<char, 1024> request;
        EXPECT_GT(::recv(client.get(), request.data(), request.size(), 0), 0);
        EXPECT_EQ(::send(client.get(), answer.data(), answer.size(), MSG_NOSIGNAL), answer.size());
        client.reset();
      });
      asked->add();
    });
    accepting.add();
    return roundOf(loop_, prober_,
                   to(url("http://127.0.0.1:" + std::to_string(portOf(server.get())) + "/")));
  }

  TestLoop loop_;
  HttpProber prober_{loop_.loop()};
};

TEST_F(HttpProberTest, TheWholeExchangeIsMeasuredInItsPhases) {
  const HttpServer server(loop_, "127.0.0.1");
  const auto begin = Clock::now();
  const Result result = roundOf(loop_, prober_, to(url(urlOf(server))));
  const Milliseconds elapsed = Clock::now() - begin;
  ASSERT_EQ(result.outcome, Outcome::kAnswered) << result.text;
  EXPECT_EQ(result.text, "status 200");
  const auto& measured = std::get<HttpMeasurement>(result.measured);
  EXPECT_EQ(measured.status, 200);
  EXPECT_GT(measured.connectMs, 0);
  EXPECT_GE(measured.tlsMs, measured.connectMs);
  EXPECT_GE(measured.firstByteMs, measured.tlsMs);
  EXPECT_GE(measured.totalMs, measured.firstByteMs);
  EXPECT_LE(measured.totalMs, elapsed.count());
}

TEST_F(HttpProberTest, TheRequestIsTheConfiguredOne) {
  const HttpServer server(loop_, "127.0.0.1");
  HttpParameters http = url(urlOf(server));
  http.method = "OPTIONS";
  http.headers = {{"X-Probe", "yes"}, {"Host", "www.example.net"}, {"X-Empty", ""}};
  ASSERT_EQ(roundOf(loop_, prober_, to(http)).outcome, Outcome::kAnswered);
  ASSERT_EQ(server.requests().size(), 1U);
  const auto& request = server.requests().front();
  EXPECT_EQ(request.method, "OPTIONS");
  EXPECT_EQ(request.uri, "/x?y=1");
  EXPECT_EQ(request.headers.at("X-Probe"), "yes");
  EXPECT_EQ(request.headers.at("Host"), "www.example.net");
  EXPECT_EQ(request.headers.at("X-Empty"), "");
  EXPECT_EQ(request.headers.at("User-Agent"), "conmon-probed");
}

TEST_F(HttpProberTest, AHeadRequestWaitsForNoBody) {
  HttpServer server(loop_, "127.0.0.1");
  server.headerIs("Content-Length", "1000");
  HttpParameters http = url(urlOf(server));
  http.method = "HEAD";
  EXPECT_EQ(roundOf(loop_, prober_, to(http)).outcome, Outcome::kAnswered);
}

TEST_F(HttpProberTest, AnUnexpectedStatusIsNoAnswerAndItsTextSaysBoth) {
  HttpServer server(loop_, "127.0.0.1");
  server.answerIs(503, "busy");
  HttpParameters http = url(urlOf(server));
  http.expectedStatus = {{200, 299}, {404, 404}};
  Result result = roundOf(loop_, prober_, to(http));
  EXPECT_EQ(result.outcome, Outcome::kNoAnswer);
  EXPECT_EQ(result.text, "status 503, expected 200-299, 404");
  server.answerIs(404, "");
  result = roundOf(loop_, prober_, to(http));
  EXPECT_EQ(result.outcome, Outcome::kAnswered);
}

TEST_F(HttpProberTest, ARedirectIsAnAnswerAndNotFollowed) {
  HttpServer server(loop_, "127.0.0.1");
  server.answerIs(302, "");
  server.headerIs("Location", "/elsewhere");
  const Result result = roundOf(loop_, prober_, to(url(urlOf(server))));
  EXPECT_EQ(result.outcome, Outcome::kAnswered);
  EXPECT_EQ(result.text, "status 302");
  EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(HttpProberTest, TheServerIsFoundByTheGivenAddressAndAskedForTheUrlsHost) {
  for (const char* address : {"127.0.0.1", "::1"}) {
    const HttpServer server(loop_, address);
    ASSERT_EQ(roundOf(loop_, prober_, to(url(urlOf(server, "no-such.example")), address)).outcome,
              Outcome::kAnswered);
    EXPECT_EQ(server.requests().front().headers.at("Host"),
              "no-such.example:" + std::to_string(server.port()));
  }
}

TEST_F(HttpProberTest, TheSameNameLeadsToEachProbesOwnAddress) {
  const HttpServer four(loop_, "127.0.0.1");
  ASSERT_EQ(roundOf(loop_, prober_, to(url(urlOf(four, "same.example")), "127.0.0.1")).outcome,
            Outcome::kAnswered);
  EXPECT_EQ(roundOf(loop_, prober_, to(url(urlOf(four, "same.example")), "::1")).text, "refused");
}

TEST_F(HttpProberTest, EveryRoundMakesAConnectionOfItsOwn) {
  const HttpServer server(loop_, "127.0.0.1");
  int results = 0;
  const auto probe = prober_.probe(to(url(urlOf(server))), [&](const Result& result) {
    EXPECT_EQ(result.outcome, Outcome::kAnswered);
    EXPECT_GT(std::get<HttpMeasurement>(result.measured).connectMs, 0);
    ++results;
  });
  for (int round = 1; round <= 3; ++round) {
    probe->start();
    ASSERT_TRUE(loop_.runUntil([&] { return results == round; }));
  }
}

TEST_F(HttpProberTest, ARefusedConnectionIsNoAnswer) {
  const UniqueFd bound = boundSocket("127.0.0.1");
  const Result result = roundOf(
      loop_, prober_, to(url("http://127.0.0.1:" + std::to_string(portOf(bound.get())) + "/")));
  EXPECT_EQ(result.outcome, Outcome::kNoAnswer);
  EXPECT_EQ(result.text, "refused");
}

TEST_F(HttpProberTest, AServerThatStaysSilentTimesOut) {
  HttpServer server(loop_, "127.0.0.1");
  server.silentIs(true);
  // A clock that stands still sees no delay of our own, however busy the machine is.
  HttpProber prober({loop_.base(), [] { return Clock::time_point(); }});
  const Result result = roundOf(loop_, prober, to(url(urlOf(server)), "127.0.0.1", {}, 200ms));
  EXPECT_EQ(result.outcome, Outcome::kNoAnswer);
  EXPECT_THAT(result.text, StartsWith("timed out"));
}

TEST_F(HttpProberTest, ATimeoutThatWeCameTooLateForIsOurs) {
  HttpServer server(loop_, "127.0.0.1");
  server.silentIs(true);
  Clock::time_point now;
  HttpProber prober({loop_.base(), [&] { return now += 10s; }});
  const Result result = roundOf(loop_, prober, to(url(urlOf(server)), "127.0.0.1", {}, 200ms));
  EXPECT_EQ(result.outcome, Outcome::kOverloaded);
}

TEST_F(HttpProberTest, AServerThatSpeaksNoHttpIsNoAnswer) {
  const Result result = roundAgainst("what?\n");
  EXPECT_EQ(result.outcome, Outcome::kNoAnswer);
  EXPECT_FALSE(result.text.empty());
}

// The agent would refuse the record of such a status. libcurl reads both as HTTP/2 (found by
// fuzzing).
TEST_F(HttpProberTest, AStatusThatIsNotOfThreeDigitsIsNoAnswer) {
  for (const auto& [line, status] :
       {std::pair{"HTTP/214522\r\n\r\n", "14522"}, std::pair{"HTTP/2 -5\r\n\r\n", "-5"}}) {
    const Result result = roundAgainst(line);
    EXPECT_EQ(result.outcome, Outcome::kNoAnswer) << line;
    EXPECT_EQ(result.text, std::string("the answer is no HTTP: status ") + status);
  }
  const Counter counter = prober_.counters().at(2);
  EXPECT_EQ(counter.name, "no answer");
  EXPECT_EQ(counter.value, 2U);
}

TEST_F(HttpProberTest, ATlsCertificateIsVerifiedUnlessItIsNotToBe) {
  const Identity identity;
  const HttpServer server(loop_, "127.0.0.1", &identity);
  HttpParameters http = url(urlOf(server, "localhost", "https"));
  Result result = roundOf(loop_, prober_, to(http));
  EXPECT_EQ(result.outcome, Outcome::kNoAnswer);
  EXPECT_THAT(result.text, StartsWith("certificate refused: "));

  http.verifyTls = false;
  result = roundOf(loop_, prober_, to(http));
  ASSERT_EQ(result.outcome, Outcome::kAnswered) << result.text;
  const auto& measured = std::get<HttpMeasurement>(result.measured);
  EXPECT_GT(measured.tlsMs, measured.connectMs);
}

TEST_F(HttpProberTest, ACertificateOfTheGivenAuthorityIsTrustedForItsNameOnly) {
  const Identity identity;
  const std::string caFile =
      testing::TempDir() + "conmon-ca-" + std::to_string(::getpid()) + ".pem";
  identity.writeCertificate(caFile);
  const HttpServer server(loop_, "127.0.0.1", &identity);
  HttpParameters http = url(urlOf(server, "localhost", "https"));
  http.caFile = caFile;
  Result result = roundOf(loop_, prober_, to(http));
  EXPECT_EQ(result.outcome, Outcome::kAnswered) << result.text;
  http.url = urlOf(server, "other.example", "https");
  result = roundOf(loop_, prober_, to(http));
  EXPECT_EQ(result.outcome, Outcome::kNoAnswer);
  EXPECT_THAT(result.text, StartsWith("certificate refused: "));
  std::filesystem::remove(caFile);
}

TEST_F(HttpProberTest, AMissingCaFileIsNotTheTargetsFailure) {
  const Identity identity;
  const HttpServer server(loop_, "127.0.0.1", &identity);
  HttpParameters http = url(urlOf(server, "localhost", "https"));
  http.caFile = "/nonexistent/ca.pem";
  const Result result = roundOf(loop_, prober_, to(http));
  EXPECT_EQ(result.outcome, Outcome::kNotMeasured);
  EXPECT_THAT(result.text, HasSubstr("/nonexistent/ca.pem"));
}

TEST_F(HttpProberTest, AnUnusableBindingIsNotTheTargetsFailure) {
  const HttpServer server(loop_, "127.0.0.1");
  const Result result =
      roundOf(loop_, prober_, to(url(urlOf(server)), "127.0.0.1", {"", "", "nosuchif0"}));
  EXPECT_EQ(result.outcome, Outcome::kNotMeasured);
  EXPECT_EQ(result.text, "interface nosuchif0: No such device");
}

TEST_F(HttpProberTest, AProbeOfANamespaceReachesTheServerThereAndNoOther) {
  const TestNamespace netns("conmon-http");
  const Binding inside{netns.name(), "", ""};
  const HttpServer server(loop_, "127.0.0.1", nullptr, inside);
  const HttpParameters http = url(urlOf(server));
  EXPECT_EQ(roundOf(loop_, prober_, to(http, "127.0.0.1", inside)).outcome, Outcome::kAnswered);
  EXPECT_EQ(roundOf(loop_, prober_, to(http)).text, "refused");
}

TEST_F(HttpProberTest, AStoppedRoundHasNoResultAndTheNextOneHas) {
  HttpServer server(loop_, "127.0.0.1");
  server.silentIs(true);
  int results = 0;
  const auto probe = prober_.probe(to(url(urlOf(server))), [&](const Result&) { ++results; });
  probe->start();
  ASSERT_TRUE(loop_.runUntil([&] { return server.requests().size() == 1; }));
  probe->stop();
  loop_.runReady();
  EXPECT_EQ(results, 0);
  server.silentIs(false);
  probe->start();
  EXPECT_TRUE(loop_.runUntil([&] { return results == 1; }));
}

TEST_F(HttpProberTest, TheCallbackMayDestroyProbesItsOwnIncluded) {
  const HttpServer server(loop_, "127.0.0.1");
  std::vector<std::unique_ptr<Probe>> probes;
  int results = 0;
  for (int i = 0; i < 5; ++i) {
    probes.push_back(prober_.probe(to(url(urlOf(server))), [&](const Result&) {
      ++results;
      probes.clear();
    }));
  }
  for (const auto& probe : probes) {
    probe->start();
  }
  EXPECT_TRUE(loop_.runUntil([&] { return probes.empty(); }));
  loop_.runReady();
  EXPECT_EQ(results, 1);
}

}  // namespace
}  // namespace Monitor
