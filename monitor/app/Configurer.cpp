#include "monitor/app/Configurer.h"

#include <fmt/format.h>

#include "monitor/config/ConfigFile.h"

namespace Monitor {

bool Configurer::load() {
  ++loads_;
  try {
    Config config = readConfigFile(path_);
    adjust_(config);
    const std::size_t probes = config.probes.size();
    apply_(std::move(config));
    error_.reset();
    log_.info(fmt::format("{}: {} probes", path_, probes));
    return true;
  } catch (const ConfigError& error) {
    for (const std::string& line : error.lines()) {
      log_.error(line);
    }
    error_ = error.what();
  } catch (const std::runtime_error& error) {
    log_.error(error.what());
    error_ = error.what();
  }
  ++failures_;
  return false;
}

}  // namespace Monitor
