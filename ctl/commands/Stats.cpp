#include <fmt/format.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>

#include "ctl/Error.h"
#include "ctl/commands/Commands.h"
#include "ctl/commands/StatsText.h"
#include "ctl/text/Printable.h"

namespace Ctl {

namespace {

constexpr std::chrono::seconds kPatience{10};

std::vector<Json> listOf(Asker& agent, const char* list) {
  std::vector<Json> items;
  agent.eachOf({{"op", list}}, list, [&](const Json& item) {
    items.push_back(item);
    return true;
  });
  return items;
}

/// The prober tells its state to whoever connects. A machine may well have none.
std::string stateOfProber(const std::string& path, const Style& style) {
  try {
    UnixSocket socket("prober", path, kPatience);
    const Json state = Json::parse(socket.line().value_or(""), nullptr, false);
    return probedText(state, style);
  } catch (const Error& error) {
    return fmt::format("\n{}\n{}\n", painted("PROBER", Colour::kBold, style),
                       printable(error.what()));
  } catch (const Json::exception&) {
    throw Error(fmt::format("what {} says is no prober's state", path));
  }
}

}  // namespace

void run(const Stats& stats, const std::string& socket) {
  const Style style = styleOfStandardOutput();
  Asker agent(socket);
  const AgentState state{agent.ask({{"op", "stats"}}), listOf(agent, "vrfs"),
                         listOf(agent, "clients"), listOf(agent, "interfaces")};
  print(statsText(state, style));
  print(stateOfProber(stats.probedSocket, style));
  flush();
}

}  // namespace Ctl
