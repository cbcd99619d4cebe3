#include "ctl/text/Tree.h"

namespace Ctl {

namespace {

void write(const Tree& tree, const std::string& indent, std::string& text) {
  text += tree.line;
  text += '\n';
  for (const Tree& each : tree.below) {
    const bool last = &each == &tree.below.back();
    text += indent;
    text += last ? "`- " : "|- ";
    write(each, indent + (last ? "   " : "|  "), text);
  }
}

}  // namespace

std::string treeText(const Tree& tree) {
  std::string text;
  write(tree, "", text);
  return text;
}

}  // namespace Ctl
