#include "monitor/config/ConfigFile.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "Yaml/SoleDocument.h"
#include "monitor/config/HostReader.h"
#include "monitor/config/Map.h"
#include "monitor/config/Names.h"
#include "monitor/config/Scalars.h"
#include "monitor/config/VrfReader.h"

namespace Monitor {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMaxNameBytes = 255;

class Reader {
 public:
  explicit Reader(const std::string& path)
      : directory_(std::filesystem::path(path).parent_path()), problems_(path) {}

  Config read(const YAML::Node& root) {
    readRoot(root);
    if (!problems_.empty()) {
      throw ConfigError(problems_.lines());
    }
    return std::move(config_);
  }

 private:
  void readRoot(const YAML::Node& root) {
    Map map(problems_, {root, ""}, "a map with the keys client, agent and hosts");
    if (const auto field = map.need("client", "the name that the results are published under")) {
      config_.client = readName(problems_, *field, kMaxNameBytes).value_or("");
    }
    if (const auto field = map.need("agent", "a map with the key socket")) {
      readAgent(*field);
    }
    if (const auto field = map.take("status-socket")) {
      config_.statusSocket = readPath(problems_, *field, directory_).value_or("");
    }
    ProbeDefaults defaults;
    if (const auto field = map.take("defaults")) {
      readDefaults(problems_, *field, defaults);
    }
    config_.vrfs = readVrfs(problems_, map.take("vrfs"));
    if (const auto field = map.need("hosts", "a list of hosts")) {
      HostReader hosts(problems_, defaults, config_.vrfs, directory_);
      config_.probes = hosts.read(*field);
    }
  }

  void readAgent(const Field& field) {
    Map map(problems_, field, "a map with the key socket");
    if (const auto socket = map.need("socket", "the path of the agent's feed socket")) {
      config_.agent.socket = readPath(problems_, *socket, directory_).value_or("");
    }
    config_.agent.hold = 60s;
    if (const auto hold = map.take("hold")) {
      config_.agent.hold = readDuration(problems_, *hold, 0s, 24h).value_or(0s);
    }
  }

  std::filesystem::path directory_;
  Problems problems_;
  Config config_;
};

}  // namespace

Config parseConfig(const std::string& text, const std::string& path) {
  YAML::Node root;
  try {
    root = Yaml::soleDocument(text);
  } catch (const YAML::Exception& error) {
    throw ConfigError({fmt::format("{}:{}: {}", path, error.mark.line + 1, error.msg)});
  }
  return Reader(path).read(root);
}

Config readConfigFile(const std::string& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  // An empty file fails to be copied without an error of the system's.
  if (!file || (!(text << file.rdbuf()) && errno != 0)) {
    throw ConfigError({fmt::format("{}: {}", path, std::strerror(errno))});
  }
  return parseConfig(text.str(), path);
}

}  // namespace Monitor
