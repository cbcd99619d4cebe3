#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "TraceScenario.h"

/// Every line of one scenario, by table, against the file of that table in tests/golden. A search
/// for a line that somebody sees in the field finds its table there.
///
/// CONMON_UPDATE_GOLDEN=1 writes the files anew, for a look at the difference; the test fails then.

namespace {

template <class Table>
class GoldenTrace : public testing::Test {
 protected:
  static std::string path() {
    return std::string(CONMON_GOLDEN_DIR) + "/table-sm-trace-" +
           std::string(TableFacts<Table>::kLower) + ".txt";
  }
  /// Each line once, sorted: where a line stands in the whole is the business of other tests.
  static std::string lines() {
    std::set<std::string> sorted;
    for (const auto& line : TraceScenario<Table>::run()) {
      sorted.insert(line.unit + ":" + std::to_string(line.level) + ": " + line.text + "|");
    }
    std::string all;
    for (const std::string& line : sorted) {
      all += line + "\n";
    }
    return all;
  }
};
TYPED_TEST_SUITE(GoldenTrace, AllTables, TableNames);

TYPED_TEST(GoldenTrace, IsWhatItWas) {
  const std::string lines = this->lines();
  if (std::getenv("CONMON_UPDATE_GOLDEN") != nullptr) {
    std::ofstream(this->path()) << lines;
    FAIL() << "wrote " << this->path();
  }
  std::ostringstream golden;
  const std::ifstream file(this->path());
  ASSERT_TRUE(file) << this->path();
  golden << file.rdbuf();
  EXPECT_EQ(lines, golden.str());
}

}  // namespace
