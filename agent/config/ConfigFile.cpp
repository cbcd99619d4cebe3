#include "agent/config/ConfigFile.h"

#include <fmt/format.h>
#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>

#include "Yaml/SoleDocument.h"
#include "agent/Quote.h"
#include "agent/Readable.h"

namespace Agent {

namespace {

class Reader {
 public:
  explicit Reader(const std::string& path)
      : path_(path), directory_(std::filesystem::path(path).parent_path()) {}

  Settings read(const YAML::Node& root) {
    if (root.IsNull()) {
      return std::move(settings_);
    }
    if (!root.IsMap()) {
      fail(root, "", "expected a map of settings");
    }
    std::set<std::string> seen;
    for (const auto& entry : root) {
      if (!entry.first.IsScalar()) {
        fail(entry.first, "", "expected the name of a setting");
      }
      const std::string key = entry.first.Scalar();
      keyLine_ = entry.first.Mark().line;
      if (!seen.insert(key).second) {
        fail(entry.first, key, "given twice");
      }
      readSetting(entry.first, key, entry.second);
    }
    if (settings_.listen && settings_.agentx) {
      fail(root["agentx"], "agentx", "expected either listen or agentx, not both");
    }
    return std::move(settings_);
  }

 private:
  void readSetting(const YAML::Node& at, const std::string& key, const YAML::Node& value) {
    if (key == "feed") {
      settings_.feed = pathOf(value, key);
    } else if (key == "feed-file") {
      settings_.feedFiles =
          listOf(value, key, [&](const YAML::Node& item) { return pathOf(item, key); });
    } else if (key == "listen") {
      settings_.listen = listOf(value, key, [&](const YAML::Node& item) {
        return checked(item, key, checkListenAddress);
      });
    } else if (key == "agentx") {
      // An empty value stands for the usual place, as on the command line.
      settings_.agentx = value.IsNull() ? std::string() : stringOf(value, key);
    } else if (key == "trace") {
      settings_.trace = traceOf(value, key);
    } else if (key == "trace-file") {
      settings_.traceFile = pathOf(value, key);
    } else if (key == "plugin") {
      settings_.plugin = pathOf(value, key);
    } else if (key == "snmp-conf") {
      settings_.snmpConf = pathOf(value, key);
    } else if (key == "community") {
      settings_.community = checked(value, key, checkCommunity);
    } else if (key == "slice-budget") {
      settings_.sliceBudget = std::chrono::milliseconds(numberOf(value, key, checkSliceBudget));
    } else if (key == "max-contexts") {
      settings_.maxContexts = static_cast<std::size_t>(numberOf(value, key, checkMaxContexts));
    } else if (key == "max-repetitions") {
      settings_.maxRepetitions = static_cast<int>(numberOf(value, key, checkAnswerLimit));
    } else if (key == "max-varbinds") {
      settings_.maxVarbinds = static_cast<int>(numberOf(value, key, checkAnswerLimit));
    } else if (key == "interfaces") {
      settings_.interfaces = interfacesOf(checked(value, key, checkInterfaces));
    } else if (key == "vrfs") {
      settings_.netnsVrfs = vrfsOf(value, key);
    } else if (key == "verbose") {
      settings_.verbose = switchOf(value, key);
    } else {
      fail(at, key, "unknown setting");
    }
  }

  [[noreturn]] void fail(const YAML::Node& at, const std::string& key,
                         const std::string& what) const {
    // The parser puts a value that is not there on the line behind its key.
    const int line = at.IsNull() ? keyLine_ : at.Mark().line;
    throw ConfigError(fmt::format("{}:{}: {}{}{}", path_, line + 1, key.empty() ? "" : nameOf(key),
                                  key.empty() ? "" : ": ", what));
  }
  /// Keys come from outside: one that is no plain name is quoted.
  static std::string nameOf(const std::string& key) {
    const bool plain = std::ranges::all_of(key, [](unsigned char c) {
      return std::isalnum(c) != 0 || c == '-' || c == '_' || c == '.';
    });
    return plain ? key : quote(key);
  }

  std::string stringOf(const YAML::Node& value, const std::string& key) const {
    if (!value.IsScalar() || value.Scalar().empty()) {
      fail(value, key, "expected a text");
    }
    return value.Scalar();
  }
  std::string pathOf(const YAML::Node& value, const std::string& key) const {
    return (directory_ / stringOf(value, key)).string();
  }
  std::string checked(const YAML::Node& value, const std::string& key,
                      std::optional<Expected> (*check)(std::string_view)) const {
    std::string text = stringOf(value, key);
    if (const auto expected = check(text)) {
      fail(value, key, expected->what);
    }
    return text;
  }
  std::vector<std::string> listOf(const YAML::Node& value, const std::string& key,
                                  const std::function<std::string(const YAML::Node&)>& read) const {
    if (!value.IsSequence()) {
      return {read(value)};
    }
    if (value.size() == 0) {
      fail(value, key, "expected at least one");
    }
    std::vector<std::string> list;
    for (const YAML::Node& item : value) {
      list.push_back(read(item));
    }
    return list;
  }
  TraceLevels traceOf(const YAML::Node& value, const std::string& key) const {
    if (!value.IsMap()) {
      return accept<TraceLevels>(value, key, parseTraceLevels(stringOf(value, key)));
    }
    TraceLevels levels;
    for (const auto& entry : value) {
      const std::string unit = stringOf(entry.first, key);
      const std::string level = stringOf(entry.second, key);
      levels.push_back(
          accept<std::pair<std::string, int>>(entry.first, key, parseTraceLevel(unit, level)));
    }
    return levels;
  }
  /// VRF names, each with a map of its own, as in the prober's configuration.
  std::map<std::string, std::string> vrfsOf(const YAML::Node& value, const std::string& key) const {
    if (!value.IsMap()) {
      fail(value, key, "expected a map of VRFs by name");
    }
    std::map<std::string, std::string> vrfs;
    for (const auto& entry : value) {
      const std::string vrf = checked(entry.first, key, checkNetnsVrf);
      const std::string path = fmt::format("{}.{}", key, nameOf(vrf));
      if (!entry.second.IsMap() || entry.second.size() != 1 || !entry.second["netns"]) {
        fail(entry.second.IsNull() ? entry.first : entry.second, path,
             "expected a map with the key netns");
      }
      const std::string netns = checked(entry.second["netns"], path + ".netns", checkNetns);
      if (!vrfs.emplace(vrf, netns).second) {
        fail(entry.first, path, "given twice");
      }
    }
    return vrfs;
  }
  bool switchOf(const YAML::Node& value, const std::string& key) const {
    const std::string text = stringOf(value, key);
    if (text != "true" && text != "false") {
      fail(value, key, "expected true or false");
    }
    return text == "true";
  }
  /// A text that is no number is refused like one that is out of range, as which 0 always is.
  long numberOf(const YAML::Node& value, const std::string& key,
                std::optional<Expected> (*check)(long)) const {
    const std::string text = stringOf(value, key);
    long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
      number = 0;
    }
    if (const auto expected = check(number)) {
      fail(value, key, expected->what);
    }
    return number;
  }
  template <class Type>
  Type accept(const YAML::Node& at, const std::string& key,
              std::variant<Type, Expected> parsed) const {
    if (const auto* expected = std::get_if<Expected>(&parsed)) {
      fail(at, key, expected->what);
    }
    return std::get<Type>(std::move(parsed));
  }

  const std::string& path_;
  std::filesystem::path directory_;
  Settings settings_;
  int keyLine_ = 0;
};

}  // namespace

Settings parseConfig(const std::string& text, const std::string& path) {
  try {
    return Reader(path).read(Yaml::soleDocument(text));
  } catch (const YAML::Exception& error) {
    throw ConfigError(fmt::format("{}:{}: {}", path, error.mark.line + 1, error.msg));
  }
}

Settings readConfigFile(const std::string& path) {
  if (const auto why = whyUnreadable(path)) {
    throw ConfigError(fmt::format("{}: {}", path, *why));
  }
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return parseConfig(text.str(), path);
}

}  // namespace Agent
