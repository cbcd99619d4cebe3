#include <nlohmann/json.hpp>

#include "ctl/commands/Commands.h"
#include "ctl/commands/SnmpdConfText.h"
#include "ctl/socket/Asker.h"
#include "ctl/text/Output.h"

namespace Ctl {

void run(const SnmpdConf& conf, const std::string& socket) {
  // The default VRF is always there, with records or without.
  std::vector<std::string> vrfs = {"default"};
  Asker agent(socket);
  agent.eachOf({{"op", "vrfs"}}, "vrfs", [&](const Json& vrf) {
    if (vrf.at("name") != "default") {
      vrfs.push_back(vrf.at("name").get<std::string>());
    }
    return true;
  });
  print(snmpdConfText(conf, vrfs));
  flush();
}

}  // namespace Ctl
