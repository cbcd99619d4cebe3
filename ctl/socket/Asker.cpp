#include "ctl/socket/Asker.h"

#include <chrono>
#include <nlohmann/json.hpp>

#include "ctl/Error.h"

namespace Ctl {

namespace {

/// The agent answers between two slices of its work; who has to wait longer asks in vain.
constexpr std::chrono::seconds kPatience{30};

}  // namespace

Asker::Asker(const std::string& path) : socket_("agent", path, kPatience) {}

Json Asker::ask(const Json& question) {
  socket_.send(question.dump() + '\n');
  const auto line = socket_.line();
  if (!line) {
    throw Error("the agent closed the connection");
  }
  Json answer = Json::parse(*line, nullptr, false);
  if (!answer.is_object() || !answer.contains("ok")) {
    throw Error("the agent's answer cannot be understood");
  }
  if (answer["ok"] != true) {
    throw Error(answer.value("error", "refused"));
  }
  return answer;
}

Json Asker::eachOf(Json question, const std::string& list, const Visit& visit) {
  Json head;
  while (true) {
    Json answer = ask(question);
    for (const Json& item : answer.at(list)) {
      if (!visit(item)) {
        answer.erase("next");
        break;
      }
    }
    const auto next = answer.find("next");
    if (next != answer.end()) {
      question["after"] = *next;
    }
    const bool more = next != answer.end();
    if (head.is_null()) {
      answer.erase(list);
      head = std::move(answer);
    }
    if (!more) {
      return head;
    }
  }
}

}  // namespace Ctl
