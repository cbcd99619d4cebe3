#pragma once

#include <fstream>
#include <functional>
#include <memory>
#include <string>

#include "agent/feed/Session.h"
#include "agent/loop/EventLoop.h"

namespace Agent {

/// Feed lines from a file, read once, as if from a connection that stays open as long as the agent
/// runs: at its end nothing is held or withdrawn. Refused lines are warned of and passed over.
class FeedFile final : public Work {
 public:
  using Warn = std::function<void(const std::string&)>;

  /// Throws StartError when the file cannot be opened.
  FeedFile(std::string path, ClientRegistry& clients, OperationQueue& queue, Warn warn);

  bool hasWork() override;
  void work(Ubo::YieldPolicy& yield) override;

 private:
  void readMore();
  void takeAnswers();

  std::string path_;
  std::ifstream file_;
  Session session_;
  Warn warn_;
};

}  // namespace Agent
