#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "Ubo/YieldPolicy.h"
#include "agent/control/Inspection.h"

namespace Agent {

/// Keeps fields in the order in which a person wants to read them.
using Json = nlohmann::ordered_json;

/// `json` in one line of ASCII; octets that are no UTF-8 appear as U+FFFD.
[[nodiscard]] std::string lineOf(const Json& json);

/// One piece of a list as one answer: `HEAD,"NAME":[...],"next":"..."`. `next` is what the asker
/// names to go on, and is there only when there is more.
///
/// A piece ends at the page's limit, where the answer gets long, and when the slice is over; but it
/// has at least one item, so that asking on always gets to the end.
class ListAnswer {
 public:
  /// Of the items' octets. Far below what a session may keep for a client that does not read.
  static constexpr std::size_t kMaxBytes = 32'768;

  ListAnswer(const Page& page, Ubo::YieldPolicy& yield) : limit_(page.limit), yield_(yield) {}

  /// Whether another item may be added. When it may not, the caller has one and stops: it is the
  /// next piece's first.
  [[nodiscard]] bool takesMore();
  /// Precondition: takesMore(). `bookmark` is what to go on behind.
  void add(const Json& item, std::string bookmark);

  /// `head` is an object without the list.
  [[nodiscard]] std::string text(const Json& head, std::string_view name) const;

 private:
  std::size_t limit_;
  Ubo::YieldPolicy& yield_;
  std::size_t count_ = 0;
  std::string items_;
  std::string last_;
  bool cut_ = false;
};

}  // namespace Agent
