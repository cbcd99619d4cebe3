// conmon-netlab NAME [ADDRESS,PROPERTY=NUMBER,...]... -- COMMAND [ARGUMENT...]
//
// Runs the command while the network NAME is up; ends with the command's exit status.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Lab.h"

namespace {

void set(Netlab::Impairment& impairment, const std::string& property) {
  const auto equals = property.find('=');
  const std::string name = property.substr(0, equals);
  const double value = std::stod(property.substr(std::min(equals, property.size() - 1) + 1));
  const auto time = std::chrono::microseconds(static_cast<long>(value * 1000));
  const auto share = static_cast<unsigned>(value);
  if (name == "delay") {
    impairment.delay = time;
  } else if (name == "spread") {
    impairment.spread = time;
  } else if (name == "hold") {
    impairment.hold = time;
  } else if (name == "lost") {
    impairment.lost = share;
  } else if (name == "doubled") {
    impairment.doubled = share;
  } else if (name == "held") {
    impairment.held = share;
  } else {
    throw std::runtime_error("unknown property " + name);
  }
}

void impair(Netlab::Wire& wire, const std::string& rule) {
  std::istringstream parts(rule);
  std::string part;
  std::getline(parts, part, ',');
  const auto address = Monitor::IpAddress::parse(part);
  if (!address) {
    throw std::runtime_error("no address: " + part);
  }
  Netlab::Impairment impairment;
  while (std::getline(parts, part, ',')) {
    set(impairment, part);
  }
  wire.impair(*address, impairment);
}

int runCommand(char** command) {
  const pid_t child = fork();
  if (child == 0) {
    execvp(command[0], command);
    std::perror(command[0]);
    _exit(127);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) {
    std::perror("conmon-netlab");
    return 1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const auto split = std::find(arguments.begin(), arguments.end(), "--");
  if (split == arguments.begin() || arguments.end() - split < 2) {
    std::fprintf(stderr, "usage: conmon-netlab NAME [ADDRESS,PROPERTY=NUMBER,...]... -- COMMAND\n");
    return 2;
  }
  try {
    Netlab::Lab lab(arguments[0]);
    for (auto rule = arguments.begin() + 1; rule != split; ++rule) {
      impair(lab.wire(), *rule);
    }
    return runCommand(argv + 2 + (split - arguments.begin()));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "UNAVAILABLE: network: %s\n", error.what());
    return 1;
  }
}
