/// Random worlds beside a reference model; README.md tells what a world is.

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <optional>

#include "Runner.h"

int main(int argc, char** argv) {
  CLI::App app("Runs random histories of the feed beside a reference model.");
  Model::Plan plan;
  unsigned limit = 3600;
  std::optional<std::uint64_t> only;
  app.add_option("--worlds", plan.worlds, "How many");
  app.add_option("--seed", plan.seed, "Of the first; the others count on from it");
  app.add_option("--jobs", plan.jobs, "Processes side by side")->check(CLI::Range(1, 1024));
  app.add_option("--seconds", limit, "When it has taken this long, it is given up as failed");
  app.add_option("--only", only, "Print and run the one world of this seed, in this process");
  CLI11_PARSE(app, argc, argv);
  plan.limit = std::chrono::seconds(limit);
  const bool good = only ? Model::runOne(*only) : Model::runAll(plan);
  return good ? EXIT_SUCCESS : EXIT_FAILURE;
}
