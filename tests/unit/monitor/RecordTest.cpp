#include "monitor/feed/Record.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <nlohmann/json.hpp>

#include "monitor/net/Failure.h"

namespace Monitor {
namespace {

using namespace std::chrono_literals;

const IpAddress kAddress = *IpAddress::parse("192.0.2.10");

ProbeConfig probe(decltype(ProbeConfig::parameters) parameters) {
  ProbeConfig config;
  config.host = "web1";
  config.vrf = "default";
  config.parameters = std::move(parameters);
  return config;
}

HttpParameters http(const std::string& url) {
  HttpParameters parameters;
  parameters.url = url;
  return parameters;
}

TEST(Record, TheKeyOfEachProtocolHasItsFields) {
  EXPECT_EQ(recordKey(probe(IcmpParameters{}), kAddress),
            R"("host":"web1","vrf":"default","probe":"icmp","address":"192.0.2.10")");
  EXPECT_EQ(recordKey(probe(TcpParameters{443}), *IpAddress::parse("2001:db8::1")),
            R"("host":"web1","vrf":"default","probe":"tcp","address":"2001:db8::1","port":443)");
  EXPECT_EQ(recordKey(probe(http("http://a.example/")), kAddress),
            R"("host":"web1","vrf":"default","probe":"http","url":"http://a.example/")");
}

TEST(Record, AnInterfaceIsNamedWithItsVrfWhereThatIsANamespace) {
  ProbeConfig config = probe(IcmpParameters{});
  config.vrf = "blue";
  config.binding = {"", "vrf-blue", "eth1"};
  EXPECT_NE(recordKey(config, kAddress).find(R"("interface":"eth1")"), std::string::npos);
  config.binding = {"blue-ns", "", "eth1"};
  EXPECT_NE(recordKey(config, kAddress).find(R"("interface":"eth1@blue")"), std::string::npos);
  config.binding = {"blue-ns", "", ""};
  EXPECT_EQ(recordKey(config, kAddress).find("interface"), std::string::npos);
}

TEST(Record, NamesAreEscapedForJson) {
  ProbeConfig config = probe(IcmpParameters{});
  config.host = "a\"b\\c\xff";
  const auto json = nlohmann::json::parse("{" + recordKey(config, kAddress) + "}");
  EXPECT_EQ(json["host"], "a\"b\\c\xef\xbf\xbd");
}

nlohmann::json valuesOf(const ProbeConfig& config, const Result& result) {
  const auto values = recordValues(config, result);
  EXPECT_TRUE(values && values->starts_with(','));
  return nlohmann::json::parse("{" + values.value_or(",").substr(1) + "}");
}

using nlohmann::json;

TEST(Record, MeasurementsAreInMillisecondsAndTheResultInWords) {
  EXPECT_EQ(
      recordValues(probe(IcmpParameters{}),
                   {Outcome::kAnswered, IcmpMeasurement{12.345, 0.25, 20}, "4 of 5 answered"}),
      R"(,"latency":12.345,"jitter":0.25,"packetLoss":20,"result":"4 of 5 answered")");
  EXPECT_EQ(
      recordValues(probe(TcpParameters{1}), {Outcome::kAnswered, TcpMeasurement{1.5}, "connected"}),
      R"(,"latency":1.5,"result":"connected")");
  EXPECT_EQ(recordValues(probe(http("http://a/")),
                         {Outcome::kAnswered, HttpMeasurement{25.75, 1, 2, 3, 200}, "status 200"}),
            R"(,"responseTime":25.75,"statusCode":200,"result":"status 200")");
}

TEST(Record, AMeasuredTimeIsNeverPublishedAsZero) {
  EXPECT_EQ(
      valuesOf(probe(IcmpParameters{}), {Outcome::kAnswered, IcmpMeasurement{0.0, 0.0, 0}, ""}),
      (json{{"latency", 0.001}, {"jitter", 0.001}, {"packetLoss", 0}, {"result", ""}}));
  EXPECT_EQ(valuesOf(probe(TcpParameters{1}), {Outcome::kAnswered, TcpMeasurement{0.0004}, ""}),
            (json{{"latency", 0.001}, {"result", ""}}));
  EXPECT_EQ(valuesOf(probe(http("http://a/")), {Outcome::kAnswered, HttpMeasurement{}, ""}),
            (json{{"responseTime", 0.001}, {"statusCode", 0}, {"result", ""}}));
}

TEST(Record, AJitterThatWasNotMeasuredIsZero) {
  EXPECT_EQ(valuesOf(probe(IcmpParameters{}),
                     {Outcome::kAnswered, IcmpMeasurement{1.0, std::nullopt, 80}, ""}),
            (json{{"latency", 1}, {"jitter", 0}, {"packetLoss", 80}, {"result", ""}}));
}

TEST(Record, NoAnswerIsAllLossAndATimeOfZeroWithTheReason) {
  EXPECT_EQ(valuesOf(probe(IcmpParameters{}), {Outcome::kNoAnswer, {}, "timed out"}),
            (json{{"latency", 0}, {"jitter", 0}, {"packetLoss", 100}, {"result", "timed out"}}));
  EXPECT_EQ(valuesOf(probe(TcpParameters{1}), connectFailure(ECONNREFUSED)),
            (json{{"latency", 0}, {"errorCode", ECONNREFUSED}, {"result", "refused"}}));
  EXPECT_EQ(valuesOf(probe(http("http://a/")),
                     {Outcome::kNoAnswer, HttpMeasurement{9, 1, 2, 3, 503}, "status 503"}),
            (json{{"responseTime", 0}, {"statusCode", 503}, {"result", "status 503"}}));
  EXPECT_EQ(valuesOf(probe(http("http://a/")), connectFailure(ECONNREFUSED)),
            (json{{"responseTime", 0}, {"result", "refused"}}))
      << "the record of an HTTP probe has no place for an errno";
}

TEST(Record, AResultThatIsTooLongOrNoPlainTextIsMadeToFit) {
  const auto resultOf = [](std::string text) {
    return valuesOf(probe(TcpParameters{1}), {Outcome::kNoAnswer, {}, std::move(text)})["result"];
  };
  EXPECT_EQ(resultOf(std::string(300, 'x')), std::string(255, 'x'));
  EXPECT_EQ(resultOf("a\nb\xff\"c\\"), "a?b?\"c\\");
}

TEST(Record, WhatWasNotMeasuredPublishesNothing) {
  EXPECT_FALSE(recordValues(probe(IcmpParameters{}), {Outcome::kNotMeasured, {}, "no socket"}));
  EXPECT_FALSE(recordValues(probe(IcmpParameters{}), {Outcome::kOverloaded, {}, "too late"}));
}

TEST(Record, LinesAreJsonObjects) {
  const auto hello = nlohmann::json::parse(helloLine("la\"b", 1500ms));
  EXPECT_EQ(hello, (nlohmann::json{{"op", "hello"}, {"client", "la\"b"}, {"holdSeconds", 1.5}}));
  const std::string key = recordKey(probe(TcpParameters{443}), kAddress);
  const auto put = nlohmann::json::parse(putLine(key, R"(,"latency":1.5)"));
  EXPECT_EQ(put["op"], "put");
  EXPECT_EQ(put["latency"], 1.5);
  const auto remove = nlohmann::json::parse(removeLine(key));
  EXPECT_EQ(remove["op"], "remove");
  EXPECT_EQ(remove["port"], 443);
  EXPECT_TRUE(putLine(key, "").ends_with("}\n"));
}

}  // namespace
}  // namespace Monitor
