#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FeedTesting.h"
#include "agent/feed/Session.h"

namespace Agent::Testing {

inline constexpr const char* kOk = "{\"ok\":true}\n";
inline constexpr const char* kHello = "{\"op\":\"hello\",\"client\":\"lab\"}\n";
inline constexpr const char* kRemoveClient = "{\"op\":\"removeClient\"}\n";
inline constexpr const char* kSync = "{\"op\":\"sync\"}\n";

class SessionTest : public testing::Test {
 protected:
  void send(std::string_view bytes) {
    session_.receive(bytes);
    session_.work(never_);
  }
  /// The answers since the last call.
  std::string answers() {
    std::string taken(session_.output());
    session_.outputTaken(taken.size());
    return taken;
  }
  void applyAll() {
    while (!queue_.empty()) {
      applied_.push_back(queue_.pop());
      queue_.applied();
    }
  }

  static constexpr std::size_t kCapacity = 4;
  FakeClock clock_;
  NeverYield never_;
  OperationQueue queue_{kCapacity};
  ClientRegistry registry_{clock_.now(), [](const Pomel::String&) {}};
  Session session_{registry_, queue_};
  std::vector<OperationQueue::Entry> applied_;
};

}  // namespace Agent::Testing
