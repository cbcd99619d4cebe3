#include "Runner.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "Difference.h"
#include "Shrink.h"
#include "Worlds.h"

namespace Model {

namespace {

using Clock = std::chrono::steady_clock;

/// What a worker tells of itself, in memory that outlives it.
struct Report {
  std::uint64_t world = 0;  ///< Seed of the one that it is at.
  std::uint64_t done = 0;
  bool failed = false;
  char what[512] = "";
  Figures figures;
};

/// Memory shared with the children.
class Reports {
 public:
  explicit Reports(std::size_t count) : count_(count) {
    void* memory = mmap(nullptr, count * sizeof(Report), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
      std::perror("mmap");
      std::exit(EXIT_FAILURE);
    }
    reports_ = static_cast<Report*>(memory);
    std::uninitialized_default_construct_n(reports_, count);
  }
  Reports(const Reports&) = delete;
  Reports& operator=(const Reports&) = delete;
  ~Reports() { munmap(reports_, count_ * sizeof(Report)); }

  [[nodiscard]] std::span<Report> all() const { return {reports_, count_}; }

 private:
  std::size_t count_;
  Report* reports_ = nullptr;
};

void runInto(Report& report, const History& history) {
  report.world = history.seed;
  try {
    report.figures += run(history);
    ++report.done;
  } catch (const std::exception& error) {
    report.failed = true;
    std::strncpy(report.what, error.what(), sizeof report.what - 1);
  }
}

template <class Work>
pid_t start(const Work& work) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) {
    std::perror("fork");
    std::exit(EXIT_FAILURE);
  }
  if (child == 0) {
    work();
    std::exit(EXIT_SUCCESS);  // Not _exit: a leak is to be found.
  }
  return child;
}

/// True when it ended as it should.
bool ended(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
}

/// How a history ends: well, with a difference, or with the process.
enum class Outcome : std::uint8_t { kGood, kDifference, kCrash };

Outcome tryInChild(const History& history, std::string* what, bool quiet) {
  const Reports reports(1);
  Report& report = reports.all().front();
  const bool well = ended(start([&] {
    if (quiet) {
      const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
      dup2(null, STDERR_FILENO);
    }
    runInto(report, history);
  }));
  if (what != nullptr) {
    *what = report.what;
  }
  if (report.failed) {
    return Outcome::kDifference;
  }
  return well ? Outcome::kGood : Outcome::kCrash;
}

void explain(std::uint64_t seed) {
  constexpr std::chrono::seconds kTimeToShrink{120};
  const History whole = randomHistory(seed);
  const Outcome outcome = tryInChild(whole, nullptr, false);
  if (outcome == Outcome::kGood) {
    std::printf("world %ju does not fail alone: what fails is left from worlds before it\n",
                std::uintmax_t{seed});
    return;
  }
  const auto deadline = Clock::now() + kTimeToShrink;
  const History history = shrunk(
      whole, [&](const History& each) { return tryInChild(each, nullptr, true) == outcome; },
      [&] { return Clock::now() >= deadline; });
  std::string what;
  tryInChild(history, &what, false);
  std::printf("%s%s\n", describe(history).c_str(),
              outcome == Outcome::kCrash ? "      ends the process" : ("      " + what).c_str());
}

void printFigures(const Plan& plan, std::span<const Report> reports, Clock::duration took) {
  Figures sum;
  std::uint64_t done = 0;
  for (const Report& report : reports) {
    sum += report.figures;
    done += report.done;
  }
  std::printf(
      "%ju of %ju worlds in %.1f s: %ju steps, %ju changes, %ju agents replaced;\n"
      "%ju looks at rest and %ju mid-way, %ju rows compared\n",
      std::uintmax_t{done}, std::uintmax_t{plan.worlds},
      std::chrono::duration<double>(took).count(), std::uintmax_t{sum.steps},
      std::uintmax_t{sum.changes}, std::uintmax_t{sum.replacements}, std::uintmax_t{sum.looks},
      std::uintmax_t{sum.looksMidWay}, std::uintmax_t{sum.rowsCompared});
}

}  // namespace

bool runAll(const Plan& plan) {
  std::printf("worlds %ju to %ju, %u at a time\n", std::uintmax_t{plan.seed},
              std::uintmax_t{plan.seed + plan.worlds - 1}, plan.jobs);
  const auto begin = Clock::now();
  const Reports reports(plan.jobs);
  std::vector<pid_t> children;
  for (unsigned job = 0; job < plan.jobs; ++job) {
    Report& report = reports.all()[job];
    children.push_back(start([&plan, &report, begin, job] {
      for (std::uint64_t i = job; i < plan.worlds && !report.failed; i += plan.jobs) {
        if (Clock::now() - begin >= plan.limit) {
          break;
        }
        runInto(report, randomHistory(plan.seed + i));
      }
    }));
  }
  std::optional<std::uint64_t> failed;
  std::uint64_t done = 0;
  for (unsigned job = 0; job < plan.jobs; ++job) {
    const bool well = ended(children[job]);
    const Report& report = reports.all()[job];
    done += report.done;
    if (!well || report.failed) {
      std::printf("world %ju: %s\n", std::uintmax_t{report.world},
                  report.failed ? report.what : "the process ended");
      failed = report.world;
    }
  }
  printFigures(plan, reports.all(), Clock::now() - begin);
  if (failed) {
    explain(*failed);
  } else if (done < plan.worlds) {
    std::printf("out of time\n");
  }
  return !failed && done == plan.worlds;
}

bool runOne(std::uint64_t seed) {
  const History history = randomHistory(seed);
  std::printf("%s", describe(history).c_str());
  std::fflush(stdout);
  try {
    static_cast<void>(run(history));
    return true;
  } catch (const Difference& difference) {
    std::printf("      %s\n", difference.what());
    return false;
  }
}

}  // namespace Model
