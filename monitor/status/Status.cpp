#include "monitor/status/Status.h"

#include <array>
#include <nlohmann/json.hpp>

namespace Monitor {

namespace {

// Keeps the order in which a person wants to read it.
using Json = nlohmann::ordered_json;

Json countersOf(const std::vector<Counter>& counters) {
  Json json = Json::object();
  for (const Counter& counter : counters) {
    json[std::string(counter.name)] = counter.value;
  }
  return json;
}

std::string_view wordOf(Outcome outcome) {
  static constexpr std::array<std::string_view, 4> kWords = {"answered", "no answer",
                                                             "not measured", "overloaded"};
  return kWords[static_cast<std::size_t>(outcome)];
}

/// All times in milliseconds.
struct MeasurementWriter {
  Json& json;

  void operator()(std::monostate) const {}
  void operator()(const IcmpMeasurement& icmp) const {
    json["latency"] = icmp.meanMs;
    json["jitter"] = icmp.jitterMs ? Json(*icmp.jitterMs) : Json();
    json["packetLoss"] = icmp.lossPercent;
  }
  void operator()(const TcpMeasurement& tcp) const { json["latency"] = tcp.connectMs; }
  void operator()(const HttpMeasurement& http) const {
    json["responseTime"] = http.totalMs;
    json["status"] = http.status;
    json["phases"] = {
        {"connect", http.connectMs}, {"tls", http.tlsMs}, {"firstByte", http.firstByteMs}};
  }
};

Json probeOf(const Watch& watch) {
  const ProbeConfig& config = watch.config();
  Json json = {{"host", config.host}, {"vrf", config.vrf}, {"probe", config.protocol()}};
  if (!config.binding.interface.empty()) {
    json["interface"] = config.binding.interface;
  }
  json["destination"] = config.destination;
  json["address"] = watch.address() ? Json(watch.address()->text()) : Json();
  if (const auto* tcp = std::get_if<TcpParameters>(&config.parameters)) {
    json["port"] = tcp->port;
  } else if (const auto* http = std::get_if<HttpParameters>(&config.parameters)) {
    json["url"] = http->url;
  }
  json["rounds"] = watch.rounds();
  json["failures"] = watch.failures();
  if (const auto resolve = watch.resolveTime()) {
    json["resolve"] = resolve->count();
  }
  if (const auto& last = watch.last()) {
    json["outcome"] = wordOf(last->outcome);
    json["text"] = last->text;
    std::visit(MeasurementWriter{json}, last->measured);
  }
  return json;
}

}  // namespace

std::string statusText(const Supervisor& supervisor, const Configurer& configurer) {
  const Config& config = supervisor.config();
  Json json;
  json["client"] = config.client;
  json["configuration"] = {{"file", configurer.path()},
                           {"loads", configurer.loads()},
                           {"failures", configurer.failures()},
                           {"error", configurer.error() ? Json(*configurer.error()) : Json()}};
  json["agent"] = {{"socket", config.agent.socket},
                   {"connected", supervisor.feed() != nullptr && supervisor.feed()->connected()}};
  if (supervisor.feed() != nullptr) {
    json["agent"].update(countersOf(supervisor.feed()->counters()));
  }
  json["schedule"] = {{"started", supervisor.schedule().started()},
                      {"overloaded", supervisor.overload().rounds()}};
  json["resolver"] = countersOf(supervisor.resolver().counters());
  json["icmp"] = countersOf(supervisor.probers().icmp.counters());
  json["tcp"] = countersOf(supervisor.probers().tcp.counters());
  json["http"] = countersOf(supervisor.probers().http.counters());
  json["probes"] = Json::array();
  for (const auto& [identity, watch] : supervisor.watches()) {
    json["probes"].push_back(probeOf(*watch));
  }
  return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace Monitor
