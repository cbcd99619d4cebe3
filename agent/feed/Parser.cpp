#include "agent/feed/Parser.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>

#include "agent/feed/FieldTaker.h"

namespace Agent {

namespace {

bool isKnownField(std::string_view name) {
  static constexpr std::array<std::string_view, 22> kKnown = {
      "op",        "client", "holdSeconds", "name",         "ifIndex", "host",
      "vrf",       "probe",  "address",     "port",         "url",     "interface",
      "latency",   "jitter", "packetLoss",  "responseTime", "result",  "statusCode",
      "errorCode", "path",   "after",       "limit"};
  return std::ranges::find(kKnown, name) != kKnown.end();
}

Lintu::IpGenAddr takeAddress(FieldTaker& fields) {
  // Room for the longest IPv6 text; anything longer is no address whatever it says.
  constexpr std::size_t kMaxAddressBytes = 45;
  const std::string text = fields.string("address", 1, kMaxAddressBytes);
  const auto address = Lintu::IpGenAddr::parse(text);
  if (!address) {
    fields.refuse("address", "must be an IPv4 or IPv6 address");
    return {};
  }
  return *address;
}

Pomel::String takeVrf(FieldTaker& fields) {
  const auto vrf = fields.optionalString("vrf", 0, kMaxVrfBytes);
  return vrf && !vrf->empty() ? Pomel::String(*vrf) : Pomel::String(kDefaultVrf);
}

HostVrf takeHostVrf(FieldTaker& fields) {
  Pomel::String host = fields.string("host", 1, kMaxNameBytes);
  return {std::move(host), takeVrf(fields)};
}

Target takeTarget(FieldTaker& fields, std::string_view probe) {
  if (probe == "icmp") {
    return IcmpTarget{takeAddress(fields)};
  }
  if (probe == "http") {
    return HttpTarget{fields.string("url", 1, kMaxNameBytes)};
  }
  if (probe == "tcp") {
    TcpTarget target{takeAddress(fields), 0};
    target.port = static_cast<std::uint16_t>(
        fields.wholeNumber("port", 1, std::numeric_limits<std::uint16_t>::max()));
    return target;
  }
  fields.refuse("probe", "must be icmp, http or tcp");
  return IcmpTarget{};
}

ProbeKey takeProbeKey(FieldTaker& fields) {
  ProbeKey key;
  key.at = takeHostVrf(fields);
  key.target = takeTarget(fields, fields.string("probe", 1, kMaxNameBytes));
  key.interface = fields.optionalString("interface", 0, kMaxInterfaceBytes).value_or("");
  return key;
}

Measurements takeMeasurements(FieldTaker& fields, const Target& target) {
  constexpr double kWholePercent = 100;
  constexpr std::uint32_t kMaxStatusCode = 999;
  constexpr std::uint32_t kMaxErrorCode = 4095;  // the kernel's own bound, MAX_ERRNO
  Measurements measured;
  measured.result = fields.optionalString("result", 0, kMaxNameBytes).value_or("");
  if (std::holds_alternative<IcmpTarget>(target)) {
    measured.latency = fields.milliseconds("latency");
    measured.jitter = fields.milliseconds("jitter");
    const auto loss = fields.number("packetLoss", 0, kWholePercent, "must be from 0 to 100");
    measured.packetLoss = loss ? loss->nearest : 0.0F;
  } else if (std::holds_alternative<HttpTarget>(target)) {
    measured.responseTime = fields.milliseconds("responseTime");
    measured.statusCode = fields.optionalWholeNumber("statusCode", 0, kMaxStatusCode).value_or(0);
  } else {
    measured.latency = fields.milliseconds("latency");
    measured.errorCode = fields.optionalWholeNumber("errorCode", 0, kMaxErrorCode).value_or(0);
  }
  return measured;
}

Hold takeHold(FieldTaker& fields) {
  // Far beyond any process's life, and far within what milliseconds can count.
  constexpr double kForeverSeconds = 1e9;
  const auto seconds =
      fields.number("holdSeconds", 0, std::numeric_limits<double>::infinity(), "must be 0 or more");
  if (!seconds) {
    return std::nullopt;
  }
  const std::chrono::duration<double> hold(std::min(seconds->value, kForeverSeconds));
  return std::chrono::ceil<std::chrono::milliseconds>(hold);
}

Page takePage(FieldTaker& fields) {
  Page page;
  page.after = fields.optionalString("after", 0, kMaxPathBytes);
  page.limit = fields.optionalWholeNumber("limit", 1, kMaxPageItems).value_or(kMaxPageItems);
  return page;
}

using OperationReader = Operation (*)(FieldTaker&);

struct OperationName {
  std::string_view name;
  OperationReader read;
};

constexpr std::array<OperationName, 13> kOperations = {{
    {"hello",
     [](FieldTaker& fields) -> Operation {
       Pomel::String client = fields.string("client", 1, kMaxNameBytes);
       return Hello{std::move(client), takeHold(fields)};
     }},
    {"interface",
     [](FieldTaker& fields) -> Operation {
       Pomel::String name = fields.string("name", 1, kMaxInterfaceBytes);
       return SetInterface{
           std::move(name),
           fields.wholeNumber("ifIndex", 1, std::numeric_limits<std::int32_t>::max())};
     }},
    {"put",
     [](FieldTaker& fields) -> Operation {
       Put put{takeProbeKey(fields), {}};
       put.measured = takeMeasurements(fields, put.key.target);
       return put;
     }},
    {"remove", [](FieldTaker& fields) -> Operation { return Remove{takeProbeKey(fields)}; }},
    {"removeHost", [](FieldTaker& fields) -> Operation { return RemoveHost{takeHostVrf(fields)}; }},
    {"removeClient", [](FieldTaker&) -> Operation { return RemoveClient{}; }},
    {"sync", [](FieldTaker&) -> Operation { return Sync{}; }},
    {"tables",
     [](FieldTaker& fields) -> Operation {
       return Inspection(ShowTables{takeVrf(fields), takePage(fields)});
     }},
    {"show",
     [](FieldTaker& fields) -> Operation {
       const std::string path = fields.optionalString("path", 0, kMaxPathBytes).value_or("");
       return Inspection(ShowEntity{path, takePage(fields)});
     }},
    {"stats", [](FieldTaker&) -> Operation { return Inspection(ShowStats{}); }},
    {"vrfs",
     [](FieldTaker& fields) -> Operation { return Inspection(ListVrfs{takePage(fields)}); }},
    {"clients",
     [](FieldTaker& fields) -> Operation { return Inspection(ListClients{takePage(fields)}); }},
    {"interfaces",
     [](FieldTaker& fields) -> Operation { return Inspection(ListInterfaces{takePage(fields)}); }},
}};

}  // namespace

std::variant<Operation, Refusal> parseFeedLine(std::string_view line) {
  auto object = readFlatObject(line, isKnownField);
  if (auto* refused = std::get_if<Refusal>(&object)) {
    return std::move(*refused);
  }
  FieldTaker fields(std::get<std::vector<JsonField>>(std::move(object)));
  const std::string op = fields.string("op", 1, kMaxNameBytes);
  const auto known = std::ranges::find(kOperations, op, &OperationName::name);
  if (known == kOperations.end()) {
    fields.refuse("op", "unknown operation");
    return *fields.refused();
  }
  Operation operation = known->read(fields);
  return std::move(fields).finish(known->name, std::move(operation));
}

}  // namespace Agent
