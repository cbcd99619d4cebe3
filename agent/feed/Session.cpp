#include "agent/feed/Session.h"

#include <fmt/format.h>

#include "agent/Quote.h"
#include "agent/feed/Parser.h"

namespace Agent {

namespace {

/// Answers that may wait for a client that does not read them.
constexpr std::size_t kMaxOutput = 65'536;

template <class... Handlers>
struct Overloaded : Handlers... {
  using Handlers::operator()...;
};
template <class... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;

}  // namespace

bool Session::blocked() const noexcept {
  return syncAt_.has_value() || output_.size() >= kMaxOutput || queue_.full();
}

bool Session::wantsInput() {
  return !ended_ && !broken_ && !blocked() && !input_.hasLine() && !input_.overlong();
}

bool Session::hasWork() {
  if (syncAt_) {
    return queue_.appliedUpTo() >= *syncAt_;
  }
  if (broken_ || blocked()) {
    return false;
  }
  return input_.hasLine() || input_.overlong() || (ended_ == End::kEndOfFile && input_.size() > 0);
}

bool Session::finished() {
  return broken_ || (ended_ && !syncAt_ && !input_.hasLine() && !input_.overlong() &&
                     (ended_ == End::kClosed || input_.size() == 0));
}

void Session::answerSync() {
  if (syncAt_ && queue_.appliedUpTo() >= *syncAt_) {
    syncAt_.reset();
    answerOk();
  }
}

std::optional<std::string_view> Session::client() const {
  return client_.known() ? std::optional(client_.client().view()) : std::nullopt;
}

std::optional<std::string_view> Session::nextLine() {
  const auto line = input_.next();
  return line || ended_ != End::kEndOfFile ? line : input_.takeRest();
}

bool Session::work(Ubo::YieldPolicy& yield) {
  answerSync();
  while (!broken_ && !blocked()) {
    if (input_.overlong()) {
      ++lineNumber_;
      ++clients_.lines().taken;
      answerRefusal(fmt::format("line longer than {} bytes", LineBuffer::kMaxLine));
      broken_ = true;
      break;
    }
    const auto line = nextLine();
    if (!line) {
      break;
    }
    ++lineNumber_;
    ++clients_.lines().taken;
    handle(*line, yield);
    answerSync();
    if (yield.shouldYield()) {
      break;
    }
  }
  return hasWork();
}

void Session::handle(std::string_view line, Ubo::YieldPolicy& yield) {
  auto parsed = parseFeedLine(line);
  if (const auto* refused = std::get_if<Refusal>(&parsed)) {
    answerRefusal(refused->error);
    return;
  }
  auto& operation = std::get<Operation>(parsed);
  if (const auto* inspection = std::get_if<Inspection>(&operation)) {
    inspect(*inspection, yield);
    return;
  }
  const bool isHello = std::holds_alternative<Hello>(operation);
  if (isHello == client_.known()) {
    answerRefusal(isHello ? "op: hello was said already" : "op: hello must come first");
    return;
  }
  apply(std::move(operation));
}

void Session::apply(Operation operation) {
  std::visit(Overloaded{[this](Hello& hello) {
                          client_ = clients_.hello(hello);
                          answerOk();
                        },
                        [this](Sync&) { syncAt_ = queue_.accepted(); },
                        [](Inspection&) { /* Handled before. */ },
                        [this](auto& change) {
                          if (admit(change)) {
                            queue_.push({client_.client(), std::move(change)});
                            answerOk();
                          }
                        }},
             operation);
}

bool Session::admit(const Put& put) {
  ContextLimit& contexts = queue_.contexts();
  if (contexts.admit(put.key.at.vrf)) {
    return true;
  }
  answerRefusal(contexts.refusal(put.key.at.vrf));
  return false;
}

void Session::inspect(const Inspection& inspection, Ubo::YieldPolicy& yield) {
  if (inspector_ == nullptr) {
    answerRefusal("op: nobody would read the answer");
    return;
  }
  const auto answer = inspector_->answer(inspection, yield);
  if (const auto* refused = std::get_if<Refusal>(&answer)) {
    answerRefusal(refused->error);
  } else {
    output_ += std::get<std::string>(answer);
    output_ += '\n';
  }
}

void Session::answerOk() { output_ += "{\"ok\":true}\n"; }

void Session::answerRefusal(std::string_view error) {
  ++clients_.lines().refused;
  output_ += fmt::format("{{\"ok\":false,\"error\":{},\"line\":{}}}\n", quote(error), lineNumber_);
}

}  // namespace Agent
