#include <cstdio>
#include <cstdlib>

#include "agent/Log.h"
#include "agent/Process.h"
#include "agent/StartError.h"
#include "agent/config/CommandLine.h"
#include "agent/config/ConfigFile.h"

int main(int argc, char** argv) {
  using Agent::Severity;
  const Agent::Log start = Agent::standardErrorLog(Severity::kWarning);
  try {
    const auto parsed = Agent::parseCommandLine(argc, argv);
    if (const auto* printout = std::get_if<Agent::Printout>(&parsed)) {
      std::fputs(printout->text.c_str(), stdout);
      return EXIT_SUCCESS;
    }
    const auto& line = std::get<Agent::CommandLine>(parsed);
    Agent::Settings settings = line.settings;
    if (line.config) {
      settings = Agent::overlaid(settings, Agent::readConfigFile(*line.config));
    }
    if (!line.checkConfig) {
      Agent::runAgent(
          settings, Agent::standardErrorLog(settings.verbose.value_or(false) ? Severity::kInfo
                                                                             : Severity::kNotice));
    }
    return EXIT_SUCCESS;
  } catch (const Agent::ConfigError& error) {
    start.write(Severity::kError, error.what());
  } catch (const Agent::StartError& error) {
    start.write(Severity::kError, error.what());
  }
  return EXIT_FAILURE;
}
