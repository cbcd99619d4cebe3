#pragma once

#include <filesystem>
#include <map>
#include <vector>

#include "monitor/config/Config.h"
#include "monitor/config/Map.h"
#include "monitor/config/Problems.h"

namespace Monitor {

/// What holds for every probe that does not say otherwise.
struct ProbeDefaults {
  std::chrono::nanoseconds interval = std::chrono::seconds(10);
  std::chrono::nanoseconds timeout = std::chrono::seconds(1);
  IcmpParameters icmp{5, std::chrono::milliseconds(20)};
};

void readDefaults(Problems& problems, const Field& field, ProbeDefaults& defaults);

/// A path, which is relative to `directory` unless it is absolute.
[[nodiscard]] std::optional<std::string> readPath(Problems& problems, const Field& field,
                                                  const std::filesystem::path& directory);

/// Reads the `hosts` list into the probes that it asks for.
class HostReader {
 public:
  HostReader(Problems& problems, const ProbeDefaults& defaults, const std::vector<VrfConfig>& vrfs,
             std::filesystem::path directory)
      : problems_(problems), defaults_(defaults), vrfs_(vrfs), directory_(std::move(directory)) {}

  [[nodiscard]] std::vector<ProbeConfig> read(const Field& hosts);

 private:
  /// What the probes of one host have in common.
  struct Host {
    ProbeConfig common;
    std::optional<Field> address;
  };
  struct Kind {
    std::string_view what;  ///< What is expected for a probe of it.
    bool mayBeNothing;      ///< Whether an empty value asks for a probe without settings.
    void (HostReader::*readKeys)(Map&, const Host&, ProbeConfig&);
  };

  void readHost(const Field& field);
  void readProbes(const Host& host, const std::optional<Field>& field, const Kind& kind);
  void readProbe(const Host& host, const Field& field, const Kind& kind);
  void readIcmp(Map& map, const Host& host, ProbeConfig& probe);
  void readTcp(Map& map, const Host& host, ProbeConfig& probe);
  void readHttp(Map& map, const Host& host, ProbeConfig& probe);
  void readDestination(Map& map, const Host& host, ProbeConfig& probe);
  void checkTimes(const Field& field, const ProbeConfig& probe);
  void checkIsNew(const Field& field, const ProbeConfig& probe);

  Problems& problems_;
  const ProbeDefaults& defaults_;
  const std::vector<VrfConfig>& vrfs_;
  std::filesystem::path directory_;
  std::vector<ProbeConfig> probes_;
  std::map<std::string, int> lines_;  ///< Where each probe stands, by its identity.
};

}  // namespace Monitor
