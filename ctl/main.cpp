#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "ctl/CommandLine.h"
#include "ctl/Error.h"
#include "ctl/text/Output.h"
#include "ctl/text/Printable.h"

namespace {

constexpr int kUsage = 2;

}  // namespace

int main(int argc, char** argv) {
  // Who closes our output wants no more of it, and no word about it; whoever started us may have
  // it otherwise.
  std::signal(SIGPIPE, SIG_DFL);
  try {
    const auto parsed = Ctl::parseCommandLine(argc, argv);
    if (const auto* printout = std::get_if<Ctl::Printout>(&parsed)) {
      Ctl::print(printout->text);
      Ctl::flush();
      return EXIT_SUCCESS;
    }
    const auto& line = std::get<Ctl::CommandLine>(parsed);
    std::visit([&](const auto& command) { Ctl::run(command, line.socket); }, line.command);
    return EXIT_SUCCESS;
  } catch (const Ctl::UsageError& error) {
    fmt::print(stderr, "conmonctl: {}\n", Ctl::printable(error.what()));
    return kUsage;
  } catch (const Ctl::Error& error) {
    fmt::print(stderr, "conmonctl: {}\n", Ctl::printable(error.what()));
  } catch (const std::exception& error) {
    // An answer without what this version looks for in it.
    fmt::print(stderr, "conmonctl: cannot be understood: {}\n", Ctl::printable(error.what()));
  }
  return EXIT_FAILURE;
}
