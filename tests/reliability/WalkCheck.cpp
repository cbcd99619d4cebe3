#include "WalkCheck.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <stdexcept>

namespace reliability {

namespace {

// Behind the objects: table, entry, column, and the index's length.
constexpr std::size_t kTableAt = 10;
constexpr std::size_t kColumnAt = kTableAt + 2;
constexpr std::size_t kLengthAt = kColumnAt + 1;
constexpr std::uint8_t kEndOfMibView = 0x82;

bool isObject(const bench::Oid& name) {
  return name.size() > kObjects.size() &&
         std::equal(kObjects.begin(), kObjects.end(), name.begin());
}

[[noreturn]] void fail(std::string_view what, const bench::Oid& name) {
  throw std::runtime_error(fmt::format("{}: .{}", what, fmt::join(name, ".")));
}

bench::Oid instance(std::size_t kind, std::uint32_t column, std::string_view key) {
  bench::Oid name = kObjects;
  name.insert(name.end(), {static_cast<std::uint32_t>(kind + 1), 1, column,
                           static_cast<std::uint32_t>(key.size())});
  for (const char octet : key) {
    name.push_back(static_cast<unsigned char>(octet));
  }
  return name;
}

}  // namespace

const bench::Oid& WalkCheck::begin() {
  last_ = kObjects;
  kind_ = 0;
  column_ = kFirstColumn;
  met_ = 0;
  return last_;
}

const bench::Oid& WalkCheck::beginBehind(std::size_t kind, std::uint32_t column, std::size_t row) {
  last_ = instance(kind, column, rows_.stable(kind)[row]);
  kind_ = kind;
  column_ = column;
  met_ = row + 1;
  return last_;
}

void WalkCheck::columnEnds() {
  const auto& stable = rows_.stable(kind_);
  if (met_ < stable.size()) {
    fail("a row that was there all the time is missing", instance(kind_, column_, stable[met_]));
  }
  met_ = 0;
  if (++column_ > kLastColumn[kind_]) {
    ++kind_;
    column_ = kFirstColumn;
  }
}

void WalkCheck::skipTo(std::size_t kind, std::uint32_t column) {
  while (kind_ < kind || (kind_ == kind && column_ < column)) {
    columnEnds();
  }
}

bool WalkCheck::take(const bench::Response::Varbind& varbind) {
  const bench::Oid& name = varbind.name;
  if (varbind.tag == kEndOfMibView || !isObject(name)) {
    skipTo(kKinds, kFirstColumn);
    return false;
  }
  if (name <= last_) {
    fail("a walk does not ascend", name);
  }
  last_ = name;
  if (name.size() <= kLengthAt || name.size() != kLengthAt + 1 + name[kLengthAt]) {
    fail("no instance of a column", name);
  }
  const std::size_t kind = name[kTableAt] - 1;
  const std::uint32_t column = name[kColumnAt];
  if (kind >= kKinds || column < kFirstColumn || column > kLastColumn[kind]) {
    fail("no column of the tables", name);
  }
  skipTo(kind, column);
  std::string key;
  for (std::size_t at = kLengthAt + 1; at < name.size(); ++at) {
    key.push_back(static_cast<char>(name[at]));
  }
  const auto& stable = rows_.stable(kind);
  if (met_ < stable.size() && key == stable[met_]) {
    ++met_;
    return true;
  }
  if (met_ < stable.size() && before(stable[met_], key)) {
    fail("a row that was there all the time is missing", instance(kind, column, stable[met_]));
  }
  if (!rows_.isChanging(kind, key)) {
    fail("a row that never was", name);
  }
  return true;
}

}  // namespace reliability
