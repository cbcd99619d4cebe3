#include "ctl/commands/TablesText.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "ctl/text/Format.h"
#include "ctl/text/Printable.h"

namespace Ctl {

namespace {

using Cell = TextTable::Cell;

Cell textCell(const Json& row, const char* name) {
  const Json& value = row.at(name);
  return {value.is_string() ? printable(value.get_ref<const std::string&>()) : value.dump()};
}

std::optional<double> numberIn(const Json& row, const char* name) {
  const Json& value = row.at(name);
  return value.is_number() ? std::optional(value.get<double>()) : std::nullopt;
}

/// 0 stands for no answer.
Cell timeCell(const Json& row, const char* name) {
  const auto time = numberIn(row, name);
  if (time == 0.0) {
    return {"no answer", Colour::kRed};
  }
  return {milliseconds(time)};
}

/// Without an answer there is nothing to be said of its variation.
Cell jitterCell(const Json& row) {
  return {numberIn(row, "latency") == 0.0 ? "-" : milliseconds(numberIn(row, "jitter"))};
}

Cell lossCell(const Json& row) {
  const auto percent = row.at("packetLoss").get<unsigned>();
  return {fmt::format("{} %", percent), percent == 0 ? Colour::kNone : Colour::kRed};
}

}  // namespace

TextTable tableOf(std::string_view kind) {
  if (kind == "icmp") {
    return TextTable({{"CLIENT"},
                      {"HOST"},
                      {"ADDRESS"},
                      {"INTERFACE"},
                      {"IFINDEX", true},
                      {"LATENCY", true},
                      {"JITTER", true},
                      {"LOSS", true},
                      {"RESULT"}});
  }
  if (kind == "http") {
    return TextTable({{"CLIENT"},
                      {"HOST"},
                      {"URL"},
                      {"INTERFACE"},
                      {"IFINDEX", true},
                      {"RESPONSE TIME", true},
                      {"RESULT"}});
  }
  return TextTable({{"CLIENT"},
                    {"HOST"},
                    {"ADDRESS"},
                    {"PORT", true},
                    {"INTERFACE"},
                    {"IFINDEX", true},
                    {"LATENCY", true},
                    {"RESULT"}});
}

std::vector<Cell> cellsOf(std::string_view kind, const Json& row) {
  std::vector<Cell> cells = {textCell(row, "client"), textCell(row, "host")};
  cells.push_back(textCell(row, kind == "http" ? "url" : "address"));
  if (kind == "tcp") {
    cells.push_back(textCell(row, "port"));
  }
  cells.push_back(textCell(row, "interface"));
  cells.push_back(textCell(row, "ifIndex"));
  cells.push_back(timeCell(row, kind == "http" ? "responseTime" : "latency"));
  if (kind == "icmp") {
    cells.push_back(jitterCell(row));
    cells.push_back(lossCell(row));
  }
  cells.push_back(textCell(row, "result"));
  return cells;
}

}  // namespace Ctl
