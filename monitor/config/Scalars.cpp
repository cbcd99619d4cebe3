#include "monitor/config/Scalars.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <regex>

namespace Monitor {

namespace {

using std::chrono::nanoseconds;

/// Whether the word's type is to be told from its looks: it is neither quoted nor a block text.
bool isPlain(const YAML::Node& node) { return node.Tag() == "?"; }

bool looksLikeNull(const std::string& word) {
  return word.empty() || word == "~" || word == "null" || word == "Null" || word == "NULL";
}

bool looksLikeBool(const std::string& word) {
  static constexpr std::array<std::string_view, 6> kBools = {"true",  "True",  "TRUE",
                                                             "false", "False", "FALSE"};
  return std::ranges::find(kBools, word) != kBools.end();
}

bool looksLikeNumber(const std::string& word) {
  static const std::regex number(R"([-+]?[0-9]+|0o[0-7]+|0x[0-9a-fA-F]+)"
                                 R"(|[-+]?(\.[0-9]+|[0-9]+(\.[0-9]*)?)([eE][-+]?[0-9]+)?)"
                                 R"(|[-+]?\.(inf|Inf|INF)|\.(nan|NaN|NAN))");
  // No number that is meant as one is longer; a long word would cost the matcher its stack.
  constexpr std::size_t kLongest = 64;
  return word.size() <= kLongest && std::regex_match(word, number);
}

struct Unit {
  std::string_view name;
  double nanoseconds;
};
constexpr std::array<Unit, 4> kUnits = {{{"ms", 1e6}, {"s", 1e9}, {"min", 60e9}, {"h", 3600e9}}};

std::optional<nanoseconds> parseDuration(const std::string& text) {
  static const std::regex form(R"(([0-9]+(?:\.[0-9]+)?)(ms|s|min|h))");
  std::smatch match;
  constexpr std::size_t kLongestText = 32;
  if (text.size() > kLongestText || !std::regex_match(text, match, form)) {
    return std::nullopt;
  }
  const auto unit = std::ranges::find(kUnits, match.str(2), &Unit::name);
  const std::string number = match.str(1);
  double count = 0;
  std::from_chars(number.data(), number.data() + number.size(), count);
  // Far beyond every range that is asked for, and far within what nanoseconds can count.
  constexpr double kLongest = 1e18;
  return nanoseconds(std::llround(std::min(count * unit->nanoseconds, kLongest)));
}

std::string durationText(nanoseconds duration) {
  const auto unit = std::ranges::find_if(kUnits.rbegin(), kUnits.rend(), [&](const Unit& each) {
    return duration.count() % static_cast<std::int64_t>(each.nanoseconds) == 0;
  });
  return duration.count() == 0
             ? "0s"
             : fmt::format("{}{}", duration.count() / static_cast<std::int64_t>(unit->nanoseconds),
                           unit->name);
}

}  // namespace

bool isNothing(const YAML::Node& node) {
  return node.IsNull() || (node.IsScalar() && isPlain(node) && looksLikeNull(node.Scalar()));
}

std::optional<std::string> readText(Problems& problems, const Field& field, std::string_view what) {
  if (!field.node.IsScalar() || isNothing(field.node)) {
    problems.expected(field, what);
    return std::nullopt;
  }
  const std::string& word = field.node.Scalar();
  if (isPlain(field.node) && (looksLikeBool(word) || looksLikeNumber(word))) {
    problems.expected(field, fmt::format("{} (in quotes, to be no number or boolean)", what));
    return std::nullopt;
  }
  return word;
}

std::optional<std::string> readName(Problems& problems, const Field& field, std::size_t maxBytes) {
  const std::string what =
      fmt::format("a text of 1 to {} bytes without control characters", maxBytes);
  auto text = readText(problems, field, what);
  if (!text) {
    return std::nullopt;
  }
  const bool control = std::ranges::any_of(
      *text, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == '\x7f'; });
  if (text->empty() || text->size() > maxBytes || control) {
    problems.expected(field, what);
    return std::nullopt;
  }
  return text;
}

std::optional<std::uint32_t> readWholeNumber(Problems& problems, const Field& field,
                                             std::uint32_t min, std::uint32_t max) {
  if (field.node.IsScalar() && isPlain(field.node)) {
    const std::string& word = field.node.Scalar();
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error == std::errc() && end == word.data() + word.size() && number >= min &&
        number <= max) {
      return number;
    }
  }
  problems.expected(field, fmt::format("a whole number from {} to {}", min, max));
  return std::nullopt;
}

std::optional<bool> readBool(Problems& problems, const Field& field) {
  if (field.node.IsScalar() && isPlain(field.node) && looksLikeBool(field.node.Scalar())) {
    const char first = field.node.Scalar().front();
    return first == 't' || first == 'T';
  }
  problems.expected(field, "true or false");
  return std::nullopt;
}

std::optional<nanoseconds> readDuration(Problems& problems, const Field& field, nanoseconds min,
                                        nanoseconds max) {
  if (field.node.IsScalar()) {
    const auto duration = parseDuration(field.node.Scalar());
    if (duration && *duration >= min && *duration <= max) {
      return duration;
    }
  }
  problems.expected(field, fmt::format("a time from {} to {}, with its unit: ms, s, min or h",
                                       durationText(min), durationText(max)));
  return std::nullopt;
}

}  // namespace Monitor
