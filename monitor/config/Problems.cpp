#include "monitor/config/Problems.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace Monitor {

namespace {

/// What stands in the file, short enough for a line and without control characters.
std::string described(const YAML::Node& node) {
  switch (node.Type()) {
    case YAML::NodeType::Map:
      return "a map";
    case YAML::NodeType::Sequence:
      return "a list";
    case YAML::NodeType::Scalar: {
      constexpr std::size_t kLongest = 60;
      std::string text = node.Scalar().substr(0, kLongest);
      for (char& c : text) {
        if (static_cast<unsigned char>(c) < 0x20 || c == '\x7f') {
          c = '?';
        }
      }
      return fmt::format("\"{}\"{}", text, node.Scalar().size() > kLongest ? "..." : "");
    }
    default:
      return "nothing";
  }
}

}  // namespace

void Problems::add(const YAML::Mark& mark, std::string_view path, std::string_view what) {
  lines_.push_back(
      fmt::format("{}:{}: {}{}{}", file_, mark.line + 1, path, path.empty() ? "" : ": ", what));
}

void Problems::expected(const Field& field, std::string_view what) {
  add(field.node.Mark(), field.path,
      fmt::format("expected {}, found {}", what, described(field.node)));
}

ConfigError::ConfigError(std::vector<std::string> problems)
    : std::runtime_error(fmt::format("{}", fmt::join(problems, "\n"))),
      lines_(std::move(problems)) {}

}  // namespace Monitor
