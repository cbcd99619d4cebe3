#include "agent/feed/FlatObject.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>

namespace Agent {

namespace {

constexpr std::size_t kLongestFieldShown = 40;

float nearestFloat(std::string_view text, double value) {
  float nearest = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), nearest);
  if (error != std::errc::result_out_of_range) {
    return nearest;
  }
  // Out of range is either end; from_chars does not say which.
  const float limit = std::abs(value) < 1 ? 0.0F : std::numeric_limits<float>::infinity();
  return std::copysign(limit, static_cast<float>(value));
}

/// The callbacks of nlohmann's event parser. Returning false ends the parse.
class FlatReader {
 public:
  using Number = nlohmann::json;

  explicit FlatReader(bool (*known)(std::string_view)) : known_(known) {}

  bool start_object(std::size_t) { return std::exchange(open_, true) ? wrongType() : true; }
  bool end_object() { return true; }
  bool start_array(std::size_t) { return wrongType(); }
  bool end_array() { return true; }
  bool null() { return wrongType(); }
  bool boolean(bool) { return wrongType(); }
  bool binary(Number::binary_t&) { return wrongType(); }
  bool number_integer(Number::number_integer_t value) {
    return take(JsonNumber{static_cast<double>(value), static_cast<float>(value)});
  }
  bool number_unsigned(Number::number_unsigned_t value) {
    return take(JsonNumber{static_cast<double>(value), static_cast<float>(value)});
  }
  bool number_float(Number::number_float_t value, const std::string& text) {
    return take(JsonNumber{value, nearestFloat(text, value)});
  }
  bool string(std::string& value) { return take(std::move(value)); }

  bool key(std::string& name) {
    if (!known_(name)) {
      return refuse(name, "unknown field");
    }
    if (std::ranges::find(fields_, name, &JsonField::name) != fields_.end()) {
      return refuse(name, "given twice");
    }
    fields_.push_back({std::move(name), JsonNumber{}});
    awaitsValue_ = true;
    return true;
  }

  bool parse_error(std::size_t byte, const std::string&, const Number::exception& error) {
    constexpr int kNumberOverflow = 406;
    const std::string what = error.id == kNumberOverflow
                                 ? std::string("number out of range")
                                 : fmt::format("not valid JSON at byte {}", byte);
    return awaitsValue_ ? refuse(fields_.back().name, what) : refuse({}, what);
  }

  std::variant<std::vector<JsonField>, Refusal> result() && {
    if (refusal_) {
      return *std::move(refusal_);
    }
    return std::move(fields_);
  }

 private:
  bool take(JsonValue value) {
    if (!open_) {
      return wrongType();
    }
    fields_.back().value = std::move(value);
    awaitsValue_ = false;
    return true;
  }
  bool wrongType() {
    return awaitsValue_ ? refuse(fields_.back().name, "must be a string or a number")
                        : refuse({}, "not a JSON object");
  }
  bool refuse(std::string_view field, std::string_view what) {
    refusal_ = refusal(field, what);
    return false;
  }

  bool (*known_)(std::string_view);
  bool open_ = false;
  bool awaitsValue_ = false;  ///< The last of fields_ has its name but not yet its value.
  std::vector<JsonField> fields_;
  std::optional<Refusal> refusal_;
};

/// Whether `text` may be cut before this byte without splitting a UTF-8 sequence.
bool startsCharacter(char byte) {
  constexpr unsigned char kContinuationMask = 0xC0;
  constexpr unsigned char kContinuation = 0x80;
  return (static_cast<unsigned char>(byte) & kContinuationMask) != kContinuation;
}

}  // namespace

Refusal refusal(std::string_view field, std::string_view what) {
  if (field.empty()) {
    return {std::string(what)};
  }
  if (field.size() <= kLongestFieldShown) {
    return {fmt::format("{}: {}", field, what)};
  }
  std::size_t cut = kLongestFieldShown;
  while (cut > 0 && !startsCharacter(field[cut])) {
    --cut;
  }
  return {fmt::format("{}...: {}", field.substr(0, cut), what)};
}

std::variant<std::vector<JsonField>, Refusal> readFlatObject(std::string_view line,
                                                             bool (*known)(std::string_view)) {
  // The lexer takes a NUL octet for the end of its input and would not look at what follows.
  if (line.find('\0') != std::string_view::npos) {
    return Refusal{"not valid JSON: the line has a NUL octet"};
  }
  FlatReader reader(known);
  nlohmann::json::sax_parse(line.begin(), line.end(), &reader);
  return std::move(reader).result();
}

}  // namespace Agent
