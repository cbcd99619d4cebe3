#include "agent/control/ListAnswer.h"

#include <fmt/format.h>

#include <utility>

#include "agent/Quote.h"

namespace Agent {

std::string lineOf(const Json& json) {
  constexpr int kNoIndent = -1;
  constexpr bool kAscii = true;
  return json.dump(kNoIndent, ' ', kAscii, Json::error_handler_t::replace);
}

bool ListAnswer::takesMore() {
  cut_ = count_ >= limit_ || (count_ > 0 && (items_.size() >= kMaxBytes || yield_.shouldYield()));
  return !cut_;
}

void ListAnswer::add(const Json& item, std::string bookmark) {
  if (count_ > 0) {
    items_ += ',';
  }
  items_ += lineOf(item);
  last_ = std::move(bookmark);
  ++count_;
}

std::string ListAnswer::text(const Json& head, std::string_view name) const {
  std::string text = lineOf(head);
  text.back() = ',';  // In place of the object's end.
  text += fmt::format("\"{}\":[{}]", name, items_);
  if (cut_) {
    text += fmt::format(",\"next\":{}", quote(last_));
  }
  return text += '}';
}

}  // namespace Agent
