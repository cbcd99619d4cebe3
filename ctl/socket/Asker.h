#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "ctl/socket/UnixSocket.h"

namespace Ctl {

using Json = nlohmann::ordered_json;

/// Asks the agent about itself, one question after another.
class Asker {
 public:
  /// Connects to the agent's socket. Throws Error.
  explicit Asker(const std::string& path);

  /// The agent's answer to one operation. Throws Error when it refuses, with its words.
  [[nodiscard]] Json ask(const Json& question);

  /// Visits the items of a list that the agent gives in pieces, in its order, until the visitor
  /// says no. Returns the first piece without its list.
  using Visit = std::function<bool(const Json& item)>;
  Json eachOf(Json question, const std::string& list, const Visit& visit);

 private:
  UnixSocket socket_;
};

}  // namespace Ctl
