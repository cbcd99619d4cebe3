#include <gtest/gtest.h>

#include "ctl/text/Printable.h"
#include "ctl/text/TextTable.h"
#include "ctl/text/Tree.h"

namespace Ctl {
namespace {

TEST(CtlPrintable, PlainTextStaysAsItIs) {
  EXPECT_EQ(printable(""), "");
  EXPECT_EQ(printable("http://192.0.2.1/?a=%20b"), "http://192.0.2.1/?a=%20b");
  EXPECT_EQ(printable("gr\u00fc\u00df \u65e5\u672c \U0001F600"),
            "gr\u00fc\u00df \u65e5\u672c \U0001F600");
}

TEST(CtlPrintable, ControlCharactersCannotAct) {
  EXPECT_EQ(printable("\x1b[2J\r\n\t\x7f"), "\\x1b[2J\\x0d\\x0a\\x09\\x7f");
  EXPECT_EQ(printable(std::string_view("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(printable("\xc2\x9b"
                      "31m"),
            "\\x9b31m")
      << "the C1 form of an escape sequence";
}

TEST(CtlPrintable, CharactersThatTurnOrHideOthersCannotAct) {
  EXPECT_EQ(printable("\u202etxt"), "\\u202etxt");
  EXPECT_EQ(printable("a\u200bb\u2066c\ufeff"), "a\\u200bb\\u2066c\\ufeff");
  EXPECT_EQ(printable("\U000e0041"), "\\ue0041");
}

TEST(CtlPrintable, ABackslashIsTellableFromAnEscape) { EXPECT_EQ(printable("\\x1b"), "\\\\x1b"); }

TEST(CtlPrintable, OctetsThatAreNoUtf8AreShownOneByOne) {
  EXPECT_EQ(printable("\xff"), "\\xff");
  EXPECT_EQ(printable("\xc3"), "\\xc3") << "cut short";
  EXPECT_EQ(printable("\xc0\xaf"), "\\xc0\\xaf") << "longer than need be";
  EXPECT_EQ(printable("\xe0\x80\x80"), "\\xe0\\x80\\x80");
  EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80") << "a surrogate";
  EXPECT_EQ(printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80") << "beyond U+10FFFF";
  EXPECT_EQ(printable("\xe2\x82x"), "\\xe2\\x82x");
}

TEST(CtlPrintable, WidthCountsCharacters) {
  EXPECT_EQ(widthOf(""), 0U);
  EXPECT_EQ(widthOf("gr\u00fc\u00df"), 4U);
}

TextTable table() {
  TextTable made({{"NAME"}, {"COUNT", true}, {"LAST"}});
  made.add({{"a"}, {"1000000"}, {"x"}});
  made.add({{"l\u00f6nger"}, {"1", Colour::kRed}, {"y"}});
  return made;
}

TEST(CtlTextTable, ColumnsStandUnderEachOtherOnATerminal) {
  EXPECT_EQ(table().text({.aligned = true, .coloured = false}),
            "NAME      COUNT  LAST\n"
            "a       1000000  x\n"
            "l\u00f6nger        1  y\n");
}

TEST(CtlTextTable, ColumnsAreSeparatedByTabsElsewhere) {
  EXPECT_EQ(table().text({}), "NAME\tCOUNT\tLAST\na\t1000000\tx\nl\u00f6nger\t1\ty\n");
}

TEST(CtlTextTable, ColourTakesNoRoom) {
  const std::string coloured = table().text({.aligned = true, .coloured = true});
  EXPECT_NE(coloured.find("l\u00f6nger        \x1b[31m1\x1b[0m  y\n"), std::string::npos);
  EXPECT_EQ(coloured.find("\x1b[1mNAME\x1b[0m"), 0U);
}

TEST(CtlTree, EachLineHangsBelowItsOwn) {
  const Tree tree{"root", {{"a", {{"b", {}}, {"c", {}}}}, {"d", {{"e", {}}}}}};
  EXPECT_EQ(treeText(tree),
            "root\n"
            "|- a\n"
            "|  |- b\n"
            "|  `- c\n"
            "`- d\n"
            "   `- e\n");
}

}  // namespace
}  // namespace Ctl
