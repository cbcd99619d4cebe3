#include "agent/Quote.h"

#include <nlohmann/json.hpp>

namespace Agent {

std::string quote(std::string_view text) {
  constexpr int kNoIndent = -1;
  constexpr bool kAscii = true;
  return nlohmann::json(text).dump(kNoIndent, ' ', kAscii,
                                   nlohmann::json::error_handler_t::replace);
}

}  // namespace Agent
