#include "agent/feed/LineBuffer.h"

#include <algorithm>

namespace Agent {

void LineBuffer::append(std::string_view bytes) {
  bytes_.erase(0, begin_);
  searched_ -= begin_;
  begin_ = 0;
  bytes_.append(bytes);
}

bool LineBuffer::findEnd() {
  searched_ = std::min(bytes_.find('\n', searched_), bytes_.size());
  return searched_ != bytes_.size();
}

std::optional<std::string_view> LineBuffer::next() {
  if (!hasLine()) {
    return std::nullopt;
  }
  const std::string_view line = std::string_view(bytes_).substr(begin_, searched_ - begin_);
  begin_ = ++searched_;
  return line;
}

std::optional<std::string_view> LineBuffer::takeRest() {
  if (size() == 0 || findEnd() || overlong()) {
    return std::nullopt;
  }
  const std::string_view line = std::string_view(bytes_).substr(begin_);
  begin_ = searched_ = bytes_.size();
  return line;
}

bool LineBuffer::overlong() {
  findEnd();
  return searched_ - begin_ > kMaxLine;
}

}  // namespace Agent
