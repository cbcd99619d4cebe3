#include "agent/Log.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <memory>

namespace Agent {
namespace {

class LogTest : public testing::Test {
 protected:
  Log log(Severity threshold, Log::Head head) {
    return {threshold, head, [this](std::string_view line) { written_ += line; }};
  }
  std::string written_;
};

TEST_F(LogTest, ALineBeginsWithTheProgramsName) {
  log(Severity::kWarning, Log::Head::kName).write(Severity::kError, "lost");
  EXPECT_EQ(written_, "conmon-snmpd: lost\n");
}

TEST_F(LogTest, ForTheJournalALineBeginsWithItsSeverity) {
  const Log journal = log(Severity::kInfo, Log::Head::kSeverity);
  journal.write(Severity::kError, "a");
  journal.at(Severity::kWarning)("b");
  journal.at(Severity::kInfo)("c");
  EXPECT_EQ(written_, "<3>a\n<4>b\n<6>c\n");
}

TEST_F(LogTest, LinesBelowTheThresholdAreDropped) {
  const Log quiet = log(Severity::kWarning, Log::Head::kName);
  quiet.write(Severity::kInfo, "a");
  EXPECT_EQ(written_, "");
  quiet.write(Severity::kWarning, "b");
  EXPECT_EQ(written_, "conmon-snmpd: b\n");
}

TEST_F(LogTest, AnEventIsOneLineWhateverIsInIt) {
  log(Severity::kWarning, Log::Head::kSeverity)
      .write(Severity::kError, "a\n<0>b\t\x1b[1m\x7f\xc3\xa9");
  EXPECT_EQ(written_, "<3>a?<0>b??[1m?\xc3\xa9\n");
}

TEST(Journal, ItIsTheStreamOfThatDeviceAndInode) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
  struct stat status {};
  ASSERT_EQ(fstat(fileno(file.get()), &status), 0);
  const std::string inode = std::to_string(status.st_ino);
  const std::string stream = std::to_string(status.st_dev) + ":" + inode;
  EXPECT_TRUE(isJournal(fileno(file.get()), stream.c_str()));
  EXPECT_FALSE(isJournal(fileno(file.get()), (stream + "0").c_str()));
  EXPECT_FALSE(isJournal(fileno(file.get()), inode.c_str()));
  EXPECT_FALSE(isJournal(fileno(file.get()), ""));
  EXPECT_FALSE(isJournal(fileno(file.get()), nullptr));
  EXPECT_FALSE(isJournal(1'000'000, stream.c_str()));
}

}  // namespace
}  // namespace Agent
