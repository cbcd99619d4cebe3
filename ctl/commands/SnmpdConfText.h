#pragma once

#include <string>
#include <vector>

#include "ctl/commands/Commands.h"

namespace Ctl {

/// The lines for snmpd.conf that let v2c communities and v3 users reach the contexts of these VRFs.
[[nodiscard]] std::string snmpdConfText(const SnmpdConf& conf,
                                        const std::vector<std::string>& vrfs);

}  // namespace Ctl
