#include "monitor/config/HttpReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "monitor/config/HostReader.h"
#include "monitor/config/Names.h"
#include "monitor/config/Scalars.h"

namespace Monitor {

namespace {

constexpr int kLowestStatus = 100;
constexpr int kHighestStatus = 599;
constexpr StatusRange kUsualStatus{200, 399};

/// RFC 9110, 5.6.2.
bool isToken(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
  });
}

std::optional<StatusRange> parseStatusRange(std::string_view text) {
  constexpr std::size_t kDigits = 3;
  if (text.size() != kDigits * 2 + 1 || text[kDigits] != '-') {
    return std::nullopt;
  }
  StatusRange range;
  const auto number = [](std::string_view digits, int& to) {
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), to);
    return error == std::errc() && end == digits.data() + digits.size();
  };
  if (!number(text.substr(0, kDigits), range.first) ||
      !number(text.substr(kDigits + 1), range.last) || range.first < kLowestStatus ||
      range.last > kHighestStatus || range.first > range.last) {
    return std::nullopt;
  }
  return range;
}

void readStatus(Problems& problems, const Field& field, std::vector<StatusRange>& to) {
  if (field.node.IsScalar() && field.node.Scalar().find('-') != std::string::npos) {
    if (const auto range = parseStatusRange(field.node.Scalar())) {
      to.push_back(*range);
      return;
    }
  } else if (field.node.IsScalar()) {
    if (const auto status = readWholeNumber(problems, field, kLowestStatus, kHighestStatus)) {
      to.push_back({static_cast<int>(*status), static_cast<int>(*status)});
    }
    return;
  }
  problems.expected(field, "a status from 100 to 599, or a range such as 200-299");
}

std::vector<StatusRange> readExpectedStatus(Problems& problems, const Field& field) {
  std::vector<StatusRange> ranges;
  if (!field.node.IsSequence()) {
    readStatus(problems, field, ranges);
    return ranges;
  }
  if (field.node.size() == 0) {
    problems.expected(field, "at least one status");
  }
  for (std::size_t i = 0; i < field.node.size(); ++i) {
    readStatus(problems, {field.node[i], fmt::format("{}[{}]", field.path, i)}, ranges);
  }
  return ranges;
}

void readHeaders(Problems& problems, const Field& field, HttpParameters& http) {
  Map map(problems, field, "a map of headers");
  for (const auto& [name, value] : map.takeRest()) {
    if (!isToken(name)) {
      problems.add(value.node.Mark(), value.path, "expected a header name (RFC 9110, 5.6.2)");
    }
    // What stands there may be a secret: a problem names the header and shows nothing of it.
    const bool good =
        value.node.IsScalar() && std::ranges::none_of(value.node.Scalar(), [](char c) {
          return static_cast<unsigned char>(c) < 0x20 || c == '\x7f';
        });
    Problems unseen("");
    if (!good || !readText(unseen, value, "")) {
      problems.add(value.node.Mark(), value.path,
                   "expected a text without control characters (a number in quotes)");
      continue;
    }
    http.headers.emplace_back(name, value.node.Scalar());
  }
}

}  // namespace

void readHttpKeys(Problems& problems, Map& map, const std::filesystem::path& directory,
                  ProbeConfig& probe) {
  HttpParameters http;
  constexpr std::string_view kUrl =
      "an http or https URL of at most 255 bytes, without user name, password and fragment";
  if (const auto field = map.need("url", kUrl)) {
    http.url = readText(problems, *field, kUrl).value_or("http://-/");
    if (const auto url = parseUrl(http.url)) {
      probe.destination = url->host;
    } else {
      problems.add(field->node.Mark(), field->path, fmt::format("expected {}", kUrl));
    }
  }
  if (const auto field = map.take("method")) {
    http.method = readText(problems, *field, "a request method").value_or("GET");
    if (!isToken(http.method)) {
      problems.expected(*field, "a request method, e.g. GET or HEAD");
    }
  }
  if (const auto field = map.take("expected-status")) {
    http.expectedStatus = readExpectedStatus(problems, *field);
  } else {
    http.expectedStatus = {kUsualStatus};
  }
  if (const auto field = map.take("headers")) {
    readHeaders(problems, *field, http);
  }
  if (const auto field = map.take("verify-tls")) {
    http.verifyTls = readBool(problems, *field).value_or(true);
  }
  if (const auto field = map.take("ca-file")) {
    http.caFile = readPath(problems, *field, directory).value_or("");
  }
  probe.parameters = std::move(http);
}

}  // namespace Monitor
