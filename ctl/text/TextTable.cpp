#include "ctl/text/TextTable.h"

#include <algorithm>

#include "ctl/text/Printable.h"

namespace Ctl {

std::string TextTable::text(const Style& style) const {
  std::vector<Cell> titles;
  std::vector<std::size_t> widths;
  for (const Column& column : columns_) {
    titles.push_back({column.title, Colour::kBold});
    widths.push_back(widthOf(column.title));
  }
  for (const auto& row : rows_) {
    for (std::size_t at = 0; at < row.size(); ++at) {
      widths[at] = std::max(widths[at], widthOf(row[at].text));
    }
  }
  std::string text;
  const auto write = [&](const std::vector<Cell>& row) {
    for (std::size_t at = 0; at < row.size(); ++at) {
      const Cell& cell = row[at];
      const bool last = at + 1 == row.size();
      const std::size_t padding = style.aligned ? widths[at] - widthOf(cell.text) : 0;
      const bool number = columns_[at].number;
      text.append(number ? padding : 0, ' ');
      text += painted(cell.text, cell.colour, style);
      text.append(number || last ? 0 : padding, ' ');
      text += last ? "\n" : style.aligned ? "  " : "\t";
    }
  };
  write(titles);
  std::ranges::for_each(rows_, write);
  return text;
}

}  // namespace Ctl
