#include "agent/feed/Parser.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

namespace Agent {

namespace {

bool isKnownField(std::string_view name) {
  static constexpr std::array<std::string_view, 19> kKnown = {
      "op",         "client",       "holdSeconds", "name",       "ifIndex",   "host",    "vrf",
      "probe",      "address",      "port",        "url",        "interface", "latency", "jitter",
      "packetLoss", "responseTime", "result",      "statusCode", "errorCode"};
  return std::ranges::find(kKnown, name) != kKnown.end();
}

/// Takes the fields of one object by name. The first thing that is wrong is kept as the refusal;
/// after it, values that are taken mean nothing.
class FieldTaker {
 public:
  explicit FieldTaker(std::vector<JsonField> fields) : fields_(std::move(fields)) {}

  /// Absent only when the field is; `minBytes` above 0 refuses the empty string.
  std::optional<std::string> optionalString(std::string_view name, std::size_t minBytes,
                                            std::size_t maxBytes) {
    const auto value = take<std::string>(name, "must be a string");
    if (!value) {
      return std::nullopt;
    }
    if (value->size() < minBytes || value->size() > maxBytes) {
      refuse(name, fmt::format("must have {} to {} bytes", minBytes, maxBytes));
    } else if (value->find('\0') != std::string::npos) {
      refuse(name, "must not have a NUL character");
    }
    return value;
  }
  std::string string(std::string_view name, std::size_t minBytes, std::size_t maxBytes) {
    auto value = optionalString(name, minBytes, maxBytes);
    return value ? *std::move(value) : (refuse(name, "missing"), std::string());
  }

  std::optional<JsonNumber> number(std::string_view name, double min, double max,
                                   std::string_view range) {
    const auto value = take<JsonNumber>(name, "must be a number");
    if (value && (value->value < min || value->value > max)) {
      refuse(name, range);
      return std::nullopt;
    }
    return value;
  }
  std::uint32_t wholeNumber(std::string_view name, std::uint32_t min, std::uint32_t max) {
    const auto value = optionalWholeNumber(name, min, max);
    if (!value) {
      refuse(name, "missing");
    }
    return value.value_or(min);
  }
  /// Absent only when the field is.
  std::optional<std::uint32_t> optionalWholeNumber(std::string_view name, std::uint32_t min,
                                                   std::uint32_t max) {
    const auto value = take<JsonNumber>(name, "must be a number");
    if (!value) {
      return std::nullopt;
    }
    if (!(value->value >= min && value->value <= max) || std::trunc(value->value) != value->value) {
      refuse(name, fmt::format("must be a whole number from {} to {}", min, max));
      return min;
    }
    return static_cast<std::uint32_t>(value->value);
  }
  /// A measured time: any number that a 32-bit float can hold; 0 when absent.
  float milliseconds(std::string_view name) {
    const auto value = take<JsonNumber>(name, "must be a number");
    if (value && std::isinf(value->nearest)) {
      refuse(name, "number out of range of a 32-bit float");
    }
    return value ? value->nearest : 0.0F;
  }

  void refuse(std::string_view field, std::string_view what) {
    if (!refusal_) {
      refusal_ = refusal(field, what);
    }
  }

  [[nodiscard]] const std::optional<Refusal>& refused() const { return refusal_; }

  /// `operation`, unless something was refused or a field is left that it does not have.
  std::variant<Operation, Refusal> finish(std::string_view op, Operation operation) && {
    if (!refusal_ && !fields_.empty()) {
      refuse(fields_.front().name, fmt::format("not a field of {}", op));
    }
    if (refusal_) {
      return *std::move(refusal_);
    }
    return operation;
  }

 private:
  template <class Type>
  std::optional<Type> take(std::string_view name, std::string_view wrongType) {
    const auto at = std::ranges::find(fields_, name, &JsonField::name);
    if (at == fields_.end()) {
      return std::nullopt;
    }
    const JsonValue value = std::move(at->value);
    fields_.erase(at);
    if (const auto* typed = std::get_if<Type>(&value)) {
      return *typed;
    }
    refuse(name, wrongType);
    return std::nullopt;
  }

  std::vector<JsonField> fields_;
  std::optional<Refusal> refusal_;
};

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

HostVrf takeHostVrf(FieldTaker& fields) {
  HostVrf at{fields.string("host", 1, kMaxNameBytes), "default"};
  const auto vrf = fields.optionalString("vrf", 0, kMaxVrfBytes);
  if (vrf && !vrf->empty()) {
    at.vrf = *vrf;
  }
  return at;
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

using OperationReader = Operation (*)(FieldTaker&);

struct OperationName {
  std::string_view name;
  OperationReader read;
};

constexpr std::array<OperationName, 7> kOperations = {{
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
