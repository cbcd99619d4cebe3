/// The prober's configuration text: it is read, or refused with errors that each begin with the
/// file's name.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "FuzzInput.h"
#include "monitor/config/ConfigFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const WithinASecond limit;
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    const Monitor::Config config = Monitor::parseConfig(text, "/etc/conmon/probes.yaml");
    require(!config.client.empty());
    for (const Monitor::ProbeConfig& probe : config.probes) {
      require(!probe.host.empty() && probe.interval.count() > 0 && probe.timeout.count() > 0);
    }
  } catch (const Monitor::ConfigError& error) {
    require(!error.lines().empty());
    for (const std::string& line : error.lines()) {
      require(line.starts_with("/etc/conmon/probes.yaml"));
    }
  }
  return 0;
}
