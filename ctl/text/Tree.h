#pragma once

#include <string>
#include <vector>

namespace Ctl {

/// A line with the lines below it.
struct Tree {
  std::string line;  ///< Printable.
  std::vector<Tree> below;
};

/// One line each, drawn with ASCII.
[[nodiscard]] std::string treeText(const Tree& tree);

}  // namespace Ctl
