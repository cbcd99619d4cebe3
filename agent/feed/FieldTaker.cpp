#include "agent/feed/FieldTaker.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace Agent {

template <class Type>
std::optional<Type> FieldTaker::take(std::string_view name, std::string_view wrongType) {
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

std::optional<std::string> FieldTaker::optionalString(std::string_view name, std::size_t minBytes,
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

std::string FieldTaker::string(std::string_view name, std::size_t minBytes, std::size_t maxBytes) {
  auto value = optionalString(name, minBytes, maxBytes);
  return value ? *std::move(value) : (refuse(name, "missing"), std::string());
}

std::optional<JsonNumber> FieldTaker::number(std::string_view name, double min, double max,
                                             std::string_view range) {
  const auto value = take<JsonNumber>(name, "must be a number");
  if (value && (value->value < min || value->value > max)) {
    refuse(name, range);
    return std::nullopt;
  }
  return value;
}

std::optional<std::uint32_t> FieldTaker::optionalWholeNumber(std::string_view name,
                                                             std::uint32_t min, std::uint32_t max) {
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

std::uint32_t FieldTaker::wholeNumber(std::string_view name, std::uint32_t min, std::uint32_t max) {
  const auto value = optionalWholeNumber(name, min, max);
  if (!value) {
    refuse(name, "missing");
  }
  return value.value_or(min);
}

float FieldTaker::milliseconds(std::string_view name) {
  const auto value = take<JsonNumber>(name, "must be a number");
  if (value && std::isinf(value->nearest)) {
    refuse(name, "number out of range of a 32-bit float");
  }
  return value ? value->nearest : 0.0F;
}

void FieldTaker::refuse(std::string_view field, std::string_view what) {
  if (!refusal_) {
    refusal_ = refusal(field, what);
  }
}

std::variant<Operation, Refusal> FieldTaker::finish(std::string_view op, Operation operation) && {
  if (!refusal_ && !fields_.empty()) {
    refuse(fields_.front().name, fmt::format("not a field of {}", op));
  }
  if (refusal_) {
    return *std::move(refusal_);
  }
  return operation;
}

}  // namespace Agent
