#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <thread>

#include "ctl/commands/Commands.h"
#include "ctl/commands/TablesText.h"
#include "ctl/text/Format.h"
#include "ctl/text/Printable.h"

namespace Ctl {

namespace {

/// Top left, and nothing below it (ECMA-48, CUP and ED).
constexpr std::string_view kClearScreen = "\x1b[H\x1b[2J";

Json question(const std::string& vrf) { return Json{{"op", "tables"}, {"vrf", vrf}}; }

/// One document of one line, written as it comes.
void printJson(Asker& agent, const std::string& vrf) {
  // The rows come table by table.
  std::size_t open = 0;
  const char* separator = "";
  const auto begin = [&](std::size_t table) {
    print(fmt::format("{}\"{}\":[", table == 0 ? "," : "],", kTableKinds[table].name));
    open = table;
    separator = "";
  };
  bool begun = false;
  const auto reach = [&](std::string_view table) {
    if (!begun) {
      begun = true;
      print(fmt::format("{{\"vrf\":{}", Json(vrf).dump()));
      begin(0);
    }
    while (kTableKinds[open].name != table) {
      begin(open + 1);
    }
  };
  agent.eachOf(question(vrf), "rows", [&](const Json& row) {
    reach(row.at("table").get_ref<const std::string&>());
    Json columns = row;
    columns.erase("table");
    print(separator + columns.dump());
    separator = ",";
    return true;
  });
  reach(kTableKinds.back().name);
  print("]}\n");
}

std::string tablesText(Asker& agent, const std::string& vrf, const Style& style) {
  std::vector<TextTable> tables;
  tables.reserve(kTableKinds.size());
  for (const TableKind& kind : kTableKinds) {
    tables.push_back(tableOf(kind.name));
  }
  agent.eachOf(question(vrf), "rows", [&](const Json& row) {
    const std::string& name = row.at("table").get_ref<const std::string&>();
    for (std::size_t at = 0; at < tables.size(); ++at) {
      if (kTableKinds[at].name == name) {
        tables[at].add(cellsOf(name, row));
      }
    }
    return true;
  });
  std::string text = fmt::format("VRF {}\n", printable(vrf));
  for (std::size_t at = 0; at < tables.size(); ++at) {
    text += fmt::format("\n{}, {}\n", kTableKinds[at].title, counted(tables[at].size(), "row"));
    if (tables[at].size() > 0) {
      text += tables[at].text(style);
    }
  }
  return text;
}

}  // namespace

void run(const Tables& tables, const std::string& socket) {
  const Style style = styleOfStandardOutput();
  Asker agent(socket);
  while (true) {
    if (tables.json) {
      printJson(agent, tables.vrf);
    } else {
      const std::string text = tablesText(agent, tables.vrf, style);
      if (tables.every && style.aligned) {
        print(kClearScreen);
      }
      print(text);
    }
    flush();
    if (!tables.every) {
      return;
    }
    std::this_thread::sleep_for(*tables.every);
    if (!tables.json && !style.aligned) {
      print("\n");
    }
  }
}

}  // namespace Ctl
