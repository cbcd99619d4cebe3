#pragma once

#include <string>
#include <vector>

#include "ctl/text/Output.h"

namespace Ctl {

/// Rows under a line of titles.
class TextTable {
 public:
  struct Column {
    const char* title;
    bool number = false;  ///< Aligned to the right.
  };
  struct Cell {
    std::string text;  ///< Printable.
    Colour colour = Colour::kNone;
  };

  explicit TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {}

  /// One cell for each column.
  void add(std::vector<Cell> row) { rows_.push_back(std::move(row)); }
  [[nodiscard]] std::size_t size() const noexcept { return rows_.size(); }
  [[nodiscard]] std::string text(const Style& style) const;

 private:
  std::vector<Column> columns_;
  std::vector<std::vector<Cell>> rows_;
};

}  // namespace Ctl
