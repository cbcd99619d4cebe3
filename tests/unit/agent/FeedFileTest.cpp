#include "agent/feed/FeedFile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "FeedTesting.h"
#include "agent/StartError.h"

namespace Agent {
namespace {

class FeedFileTest : public testing::Test {
 protected:
  ~FeedFileTest() override { std::filesystem::remove(path_); }

  FeedFile& open(std::string_view content) {
    std::ofstream(path_, std::ios::binary) << content;
    return file_.emplace(path_.string(), clients_, queue_,
                         [this](const std::string& text) { warnings_.push_back(text); });
  }
  std::string startError(const std::string& path) {
    try {
      FeedFile(path, clients_, queue_, [](const std::string&) {});
    } catch (const StartError& error) {
      return error.what();
    }
    return "started";
  }

  // Its own for each process: ctest runs the tests side by side.
  std::filesystem::path path_ = std::filesystem::path(testing::TempDir()) /
                                ("feed-file-test-" + std::to_string(::getpid()) + ".jsonl");
  Testing::FakeClock clock_;
  Testing::NeverYield never_;
  Testing::AlwaysYield always_;
  OperationQueue queue_{100'000};
  ClientRegistry clients_{clock_.now(), [](const Pomel::String&) {}};
  std::vector<std::string> warnings_;
  std::optional<FeedFile> file_;
};

TEST_F(FeedFileTest, AllLinesAreTakenTheLastOneAlsoWithoutALineEnd) {
  FeedFile& file = open(
      "{\"op\":\"hello\",\"client\":\"f\"}\n{\"op\":\"removeClient\"}\n"
      "{\"op\":\"removeClient\"}");
  EXPECT_TRUE(file.hasWork());
  file.work(never_);
  EXPECT_FALSE(file.hasWork());
  EXPECT_EQ(queue_.accepted(), 2U);
  EXPECT_TRUE(warnings_.empty());
}

TEST_F(FeedFileTest, AFileOfManyChunksIsReadInSlices) {
  std::string content = "{\"op\":\"hello\",\"client\":\"f\"}\n";
  for (int i = 0; i < 10'000; ++i) {
    content += "{\"op\":\"removeHost\",\"host\":\"some-host-with-a-name\"}\n";
  }
  FeedFile& file = open(content);
  int slices = 0;
  while (file.hasWork()) {
    file.work(always_);
    ++slices;
  }
  EXPECT_EQ(queue_.accepted(), 10'000U);
  EXPECT_GE(slices, 10'000);
}

TEST_F(FeedFileTest, ARefusedLineIsWarnedOfWithItsPlaceAndPassedOver) {
  FeedFile& file = open("{\"op\":\"hello\",\"client\":\"f\"}\n\nx\n{\"op\":\"removeClient\"}\n");
  file.work(never_);
  EXPECT_EQ(warnings_, (std::vector<std::string>{path_.string() + ":2: not valid JSON at byte 1",
                                                 path_.string() + ":3: not valid JSON at byte 1"}));
  EXPECT_EQ(queue_.accepted(), 1U);
}

TEST_F(FeedFileTest, ItsClientIsNotHeldAtTheEndOfTheFile) {
  FeedFile& file = open("{\"op\":\"hello\",\"client\":\"f\",\"holdSeconds\":0}\n");
  file.work(never_);
  EXPECT_EQ(clients_.nextExpiry(), std::nullopt);
}

TEST_F(FeedFileTest, AnEmptyFileIsDoneAtOnce) {
  FeedFile& file = open("");
  file.work(never_);
  EXPECT_FALSE(file.hasWork());
  EXPECT_TRUE(warnings_.empty());
}

TEST_F(FeedFileTest, AFullQueueHoldsTheFileBack) {
  OperationQueue small(2);
  std::ofstream(path_) << "{\"op\":\"hello\",\"client\":\"f\"}\n"
                          "{\"op\":\"removeClient\"}\n{\"op\":\"removeClient\"}\n"
                          "{\"op\":\"removeClient\"}\n";
  FeedFile file(path_.string(), clients_, small, [](const std::string&) {});
  file.work(never_);
  EXPECT_EQ(small.accepted(), 2U);
  EXPECT_FALSE(file.hasWork());
  (void)small.pop();
  small.applied();
  EXPECT_TRUE(file.hasWork());
  file.work(never_);
  EXPECT_EQ(small.accepted(), 3U);
}

TEST_F(FeedFileTest, AFileThatCannotBeReadIsAnError) {
  EXPECT_EQ(startError("/nonexistent/feed"),
            "--feed-file /nonexistent/feed: No such file or directory");
  const std::string directory = std::filesystem::path(testing::TempDir()).string();
  EXPECT_EQ(startError(directory), "--feed-file " + directory + ": Is a directory");
}

}  // namespace
}  // namespace Agent
