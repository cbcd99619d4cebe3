#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "ctl/commands/Commands.h"
#include "ctl/socket/Asker.h"
#include "ctl/text/Output.h"
#include "ctl/text/Printable.h"
#include "ctl/text/Tree.h"

namespace Ctl {

namespace {

/// Elements of a collection that are shown unless all are wanted.
constexpr std::size_t kFewElements = 20;

std::string textOf(const Json& value) {
  return value.is_string() ? fmt::format("\"{}\"", printable(value.get_ref<const std::string&>()))
                           : value.dump();
}

std::string textIn(const Json& json, const char* name) {
  return printable(json.at(name).get_ref<const std::string&>());
}

class Walk {
 public:
  Walk(Asker& agent, bool all) : agent_(agent), all_(all) {}

  /// What is at `path`, called `name`.
  Tree at(const std::string& path, const std::string& name, unsigned depth) {
    const Json answer = agent_.ask({{"op", "show"}, {"path", path}, {"limit", 1}});
    if (answer.contains("value")) {
      return {fmt::format("{} = {}", name, textOf(answer["value"])), {}};
    }
    if (answer.contains("elements")) {
      return collection(path, name, answer.at("size").get<std::size_t>(), depth);
    }
    Tree tree{fmt::format("{} ({})", name, textIn(answer, "type")), {}};
    for (const Json& attribute : answer.at("attributes")) {
      const std::string raw = attribute.at("name").get<std::string>();
      const std::string shown = printable(raw);
      if (attribute.contains("size")) {
        tree.below.push_back(
            collection(below(path, raw), shown, attribute["size"].get<std::size_t>(), depth));
      } else if (attribute.contains("function")) {
        tree.below.push_back({shown + "()", {}});
      } else {
        tree.below.push_back(leaf(path, raw, shown, attribute, depth));
      }
    }
    return tree;
  }

 private:
  static std::string below(const std::string& path, const std::string& name) {
    return path.empty() ? name : fmt::format("{}/{}", path, name);
  }

  /// An attribute or element that is a value or an entity.
  Tree leaf(const std::string& path, const std::string& raw, const std::string& shown,
            const Json& json, unsigned depth) {
    if (json.contains("type")) {
      return depth > 1 ? at(below(path, raw), shown, depth - 1)
                       : Tree{fmt::format("{} ({})", shown, textIn(json, "type")), {}};
    }
    return {json.contains("value") ? fmt::format("{} = {}", shown, textOf(json["value"])) : shown,
            {}};
  }

  Tree collection(const std::string& path, const std::string& shown, std::size_t size,
                  unsigned depth) {
    Tree tree{fmt::format("{} [{}]", shown, size), {}};
    std::size_t left = all_ ? size : std::min(size, kFewElements);
    if (left == 0) {
      return tree;
    }
    std::vector<Json> elements;
    agent_.eachOf({{"op", "show"}, {"path", path}}, "elements", [&](const Json& element) {
      elements.push_back(element);
      return all_ || elements.size() < left;
    });
    for (const Json& element : elements) {
      const std::string raw = element.at("key").get<std::string>();
      tree.below.push_back(leaf(path, raw, printable(raw), element, depth));
    }
    if (elements.size() < size) {
      tree.below.push_back({fmt::format("... {} more", size - elements.size()), {}});
    }
    return tree;
  }

  Asker& agent_;
  bool all_;
};

}  // namespace

void run(const Show& show, const std::string& socket) {
  Asker agent(socket);
  std::string_view path = show.path;
  while (path.starts_with('/')) {
    path.remove_prefix(1);
  }
  while (path.ends_with('/')) {
    path.remove_suffix(1);
  }
  const std::string name = path.empty() ? "/" : printable(path);
  print(treeText(Walk(agent, show.all).at(std::string(path), name, show.depth)));
  flush();
}

}  // namespace Ctl
