#include "Trace/Trace.h"

#include <cstdio>
#include <map>
#include <memory>
#include <utility>

namespace Trace {

namespace {

// Both are leaked on purpose: units trace from destructors of static objects.
std::map<std::string, std::unique_ptr<Handle>, std::less<>>& handles() {
  static auto* const all = new std::map<std::string, std::unique_ptr<Handle>, std::less<>>;
  return *all;
}

Sink& sink() {
  static auto* const current = new Sink;
  return *current;
}

}  // namespace

Handle& handle(std::string_view unit) {
  auto at = handles().find(unit);
  if (at == handles().end()) {
    at = handles().emplace(std::string(unit), std::make_unique<Handle>(unit)).first;
  }
  return *at->second;
}

std::vector<std::string> units() {
  std::vector<std::string> names;
  for (const auto& [name, unused] : handles()) {
    names.push_back(name);
  }
  return names;
}

void sinkIs(Sink newSink) { sink() = std::move(newSink); }

void Handle::writeFormatted(int level, fmt::string_view format, fmt::format_args args) const {
  write(level, fmt::vformat(format, args), {});
}

void Handle::write(int level, std::string_view text, const Position& position) const {
  if (sink()) {
    sink()(Line{unit_, level, text, position});
    return;
  }
  const std::string line = fmt::format("{}:{}: {}\n", unit_, level, text);
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace Trace
