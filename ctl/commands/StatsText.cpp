#include "ctl/commands/StatsText.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "ctl/commands/TablesText.h"
#include "ctl/text/Format.h"
#include "ctl/text/Printable.h"
#include "ctl/text/TextTable.h"

namespace Ctl {

namespace {

using Cell = TextTable::Cell;

std::uint64_t numberIn(const Json& json, const char* name) {
  return json.at(name).get<std::uint64_t>();
}

std::string textIn(const Json& json, const char* name) {
  return printable(json.at(name).get_ref<const std::string&>());
}

Cell numberCell(const Json& json, const char* name) {
  return {std::to_string(numberIn(json, name))};
}

/// A count of what should not be.
Cell faultCell(std::uint64_t count) {
  return {std::to_string(count), count == 0 ? Colour::kNone : Colour::kRed};
}

std::string section(const char* title, const TextTable& table, const Style& style) {
  return fmt::format("\n{}\n{}", painted(title, Colour::kBold, style),
                     table.size() == 0 ? "none\n" : table.text(style));
}

std::string yesOrNo(const Json& json, const char* name) {
  return json.at(name).get<bool>() ? "yes" : "no";
}

/// What of a state machine's scans and outputs is not through, in the plug-in's words.
std::string unfinishedIn(const Json& machine) {
  std::string names;
  for (const char* part : {"scans", "outputs"}) {
    for (const auto& [name, done] : machine.at(part).items()) {
      if (done == false) {
        names += (names.empty() ? "" : " ") + printable(name);
      }
    }
  }
  return names.empty() ? "-" : names;
}

std::string headText(const Json& stats, const Style& style) {
  const Json& gate = stats.at("gate");
  const Json& lines = stats.at("lines");
  const Json& changes = stats.at("changes");
  TextTable table({{"WHAT"}, {"VALUE", true}});
  table.add({{"feed lines"}, numberCell(lines, "taken")});
  table.add({{"refused lines"}, faultCell(numberIn(lines, "refused"))});
  table.add({{"changes accepted"}, numberCell(changes, "accepted")});
  table.add({{"changes waiting"}, numberCell(changes, "waiting")});
  table.add({{"records"}, numberCell(stats, "records")});
  table.add({{"collisions"}, faultCell(numberIn(stats, "sharedRows"))});
  table.add({{"replacements of the plug-in's agent"}, numberCell(gate, "replacements")});
  return fmt::format("conmon-snmpd {}, up {}, {}\n", textIn(stats, "version"),
                     duration(stats.at("uptimeSeconds").get<double>()), textIn(gate, "state")) +
         section("AGENT", table, style);
}

std::string eventsText(const Json& stats, const Style& style) {
  TextTable table({{"TABLE"}, {"PUBLISHED", true}, {"UNCHANGED", true}, {"REMOVED", true}});
  for (const TableKind& kind : kTableKinds) {
    const Json& events = stats.at("tables").at(std::string(kind.name)).at("events");
    table.add({{std::string(kind.title)},
               numberCell(events, "published"),
               numberCell(events, "unchanged"),
               numberCell(events, "removed")});
  }
  return section("EVENTS", table, style);
}

std::string machinesText(const Json& stats, const Style& style) {
  TextTable table({{"TABLE"},
                   {"FIRST SCAN DONE"},
                   {"READY"},
                   {"IDLE"},
                   {"INTERFACES WAITED FOR", true},
                   {"UNFINISHED"}});
  for (const TableKind& kind : kTableKinds) {
    const Json& machine = stats.at("tables").at(std::string(kind.name)).at("machine");
    if (machine.empty()) {
      table.add({{std::string(kind.title)}, {"-"}, {"-"}, {"-"}, {"-"}, {"being replaced"}});
    } else {
      table.add({{std::string(kind.title)},
                 {yesOrNo(machine, "initialScanDone")},
                 {yesOrNo(machine, "ready")},
                 {yesOrNo(machine, "idle")},
                 numberCell(machine, "waitingInterfaces"),
                 {unfinishedIn(machine)}});
    }
  }
  return section("SCANS AND RECONCILIATION", table, style);
}

std::string vrfsText(const std::vector<Json>& vrfs, const Style& style) {
  TextTable counts(
      {{"VRF"}, {"COUNT", true}, {"ICMP ROWS", true}, {"HTTP ROWS", true}, {"TCP ROWS", true}});
  TextTable walks({{"VRF"},
                   {"TABLE"},
                   {"HINT FOUND", true},
                   {"HINT NOT FOUND", true},
                   {"NO HINT", true},
                   {"RESEARCHED FOUND", true},
                   {"RESEARCHED NOT FOUND", true},
                   {"NEXT AT END", true}});
  for (const Json& vrf : vrfs) {
    std::vector<Cell> row = {{textIn(vrf, "name")}, numberCell(vrf, "count")};
    for (const TableKind& kind : kTableKinds) {
      const Json& table = vrf.at("tables").at(std::string(kind.name));
      row.push_back(numberCell(table, "rows"));
      const Json& walked = table.at("walks");
      if (!walked.empty()) {
        walks.add({{textIn(vrf, "name")},
                   {std::string(kind.title)},
                   numberCell(walked, "hintFound"),
                   numberCell(walked, "hintNotFound"),
                   numberCell(walked, "noHint"),
                   numberCell(walked, "researchedFound"),
                   numberCell(walked, "researchedNotFound"),
                   numberCell(walked, "nextAtEnd")});
      }
    }
    counts.add(std::move(row));
  }
  return section("VRFS", counts, style) + section("WALKS", walks, style);
}

std::string clientsText(const std::vector<Json>& clients, const Style& style) {
  TextTable table({{"CLIENT"},
                   {"CONNECTIONS", true},
                   {"RECORDS", true},
                   {"HOLD", true},
                   {"WITHDRAWN IN", true}});
  for (const Json& client : clients) {
    const Json& hold = client.at("holdSeconds");
    const auto left = client.find("expiresInSeconds");
    table.add({{textIn(client, "name")},
               numberCell(client, "connections"),
               numberCell(client, "records"),
               {hold.is_null() ? "for ever" : duration(hold.get<double>())},
               {left == client.end() ? "-" : duration(left->get<double>())}});
  }
  return section("CLIENTS", table, style);
}

/// A client may be called as it likes, also "kernel".
std::string sourceOf(const Json& interface) {
  return interface.contains("client") ? "client " + textIn(interface, "client")
                                      : textIn(interface, "source");
}

std::string interfacesText(const std::vector<Json>& interfaces, const Style& style) {
  TextTable table({{"INTERFACE"}, {"IFINDEX", true}, {"SET BY"}});
  for (const Json& interface : interfaces) {
    const bool known = interface.at("ifIndex").is_number();
    table.add({{textIn(interface, "name")},
               known ? numberCell(interface, "ifIndex") : Cell{"unknown", Colour::kRed},
               {known ? sourceOf(interface) : "-"}});
  }
  return section("INTERFACES", table, style);
}

}  // namespace

std::string statsText(const AgentState& agent, const Style& style) {
  return headText(agent.stats, style) + eventsText(agent.stats, style) +
         machinesText(agent.stats, style) + vrfsText(agent.vrfs, style) +
         clientsText(agent.clients, style) + interfacesText(agent.interfaces, style);
}

std::string probedText(const Json& state, const Style& style) {
  const Json& configuration = state.at("configuration");
  const Json& error = configuration.at("error");
  TextTable table({{"WHAT"}, {"VALUE"}});
  table.add({{"client"}, {textIn(state, "client")}});
  table.add({{"configuration"}, {textIn(configuration, "file")}});
  table.add({{"loaded"}, numberCell(configuration, "loads")});
  table.add({{"failed to load"}, faultCell(numberIn(configuration, "failures"))});
  if (error.is_string()) {
    table.add({{"error of the last load"},
               {printable(error.get_ref<const std::string&>()), Colour::kRed}});
  }
  const bool connected = state.at("agent").at("connected").get<bool>();
  table.add({{"connected to the agent"},
             {connected ? "yes" : "no", connected ? Colour::kNone : Colour::kRed}});
  table.add({{"probes"}, {std::to_string(state.at("probes").size())}});
  table.add({{"overloaded"}, faultCell(numberIn(state.at("schedule"), "overloaded"))});
  return section("PROBER", table, style);
}

}  // namespace Ctl
