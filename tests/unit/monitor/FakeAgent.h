#pragma once

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <event2/listener.h>
#include <sys/un.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "tests/unit/monitor/LoopTesting.h"

namespace Monitor::Testing {

/// An agent's end of the feed: carries out the lines it gets, keeps the records by client, and can
/// be told to misbehave. Records outlive connections, as with a long hold time.
class FakeAgent {
 public:
  explicit FakeAgent(TestLoop& loop)
      : loop_(loop),
        path_(testing::TempDir() + "conmon-feed-" + std::to_string(::getpid()) + ".sock") {
    open();
  }
  FakeAgent(const FakeAgent&) = delete;
  FakeAgent& operator=(const FakeAgent&) = delete;
  ~FakeAgent() { closed(); }

  void open() {
    std::filesystem::remove(path_);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::copy(path_.begin(), path_.end(), std::begin(address.sun_path));
    listener_.reset(evconnlistener_new_bind(
        loop_.base(),
        [](evconnlistener*, evutil_socket_t fd, sockaddr*, int, void* self) {
          static_cast<FakeAgent*>(self)->accept(fd);
        },
        this, LEV_OPT_CLOSE_ON_FREE | LEV_OPT_CLOSE_ON_EXEC, -1,
        reinterpret_cast<const sockaddr*>(&address), sizeof address));
    ASSERT_NE(listener_, nullptr) << path_;
  }
  /// Takes no connections and drops the present ones.
  void closed() {
    dropped();
    listener_.reset();
    std::filesystem::remove(path_);
  }
  void dropped() { connections_.clear(); }
  /// As a new process would be.
  void recordsForgotten() { records_.clear(); }

  /// Lines whose text contains this are refused.
  void refusesWhat(std::string part) { refused_ = std::move(part); }
  /// Lines are taken, but neither carried out nor answered.
  void silentIs(bool silent) { silent_ = silent; }
  /// Whether the connections of this moment are read; what they say waits.
  void presentAreRead(bool read) {
    for (const auto& connection : connections_) {
      (read ? bufferevent_enable : bufferevent_disable)(connection->buffer.get(), EV_READ);
    }
  }
  /// What is answered to every line, in place of the truth.
  void answersAlways(std::string text) { always_ = std::move(text); }

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::size_t connections() const { return connections_.size(); }
  [[nodiscard]] int accepted() const { return accepted_; }
  /// All lines, as JSON.
  [[nodiscard]] const std::vector<nlohmann::json>& lines() const { return lines_; }
  [[nodiscard]] std::size_t countOf(const std::string& op) const {
    return static_cast<std::size_t>(
        std::ranges::count_if(lines_, [&](const auto& line) { return line["op"] == op; }));
  }
  /// The records of a client by their key fields, with their measurements.
  [[nodiscard]] std::map<std::string, nlohmann::json> records(const std::string& client) const {
    const auto found = records_.find(client);
    return found == records_.end() ? std::map<std::string, nlohmann::json>() : found->second;
  }
  /// True when a record that was there was missing at any moment since.
  [[nodiscard]] bool sawGap() const { return gap_; }
  void gapsForgotten() { gap_ = false; }

 private:
  struct Free {
    void operator()(evconnlistener* each) const { evconnlistener_free(each); }
    void operator()(bufferevent* each) const { bufferevent_free(each); }
  };
  struct Connection {
    FakeAgent& agent;
    std::unique_ptr<bufferevent, Free> buffer;
    std::string client;
  };

  void accept(evutil_socket_t fd) {
    ++accepted_;
    auto connection = std::make_unique<Connection>(Connection{*this, nullptr, {}});
    connection->buffer.reset(bufferevent_socket_new(loop_.base(), fd, BEV_OPT_CLOSE_ON_FREE));
    bufferevent_setcb(
        connection->buffer.get(),
        [](bufferevent*, void* self) {
          auto* each = static_cast<Connection*>(self);
          each->agent.read(*each);
        },
        nullptr,
        [](bufferevent*, short, void* self) {
          auto* each = static_cast<Connection*>(self);
          std::erase_if(each->agent.connections_,
                        [&](const auto& other) { return other.get() == each; });
        },
        connection.get());
    bufferevent_enable(connection->buffer.get(), EV_READ | EV_WRITE);
    connections_.push_back(std::move(connection));
  }

  void read(Connection& connection) {
    evbuffer* input = bufferevent_get_input(connection.buffer.get());
    while (char* text = evbuffer_readln(input, nullptr, EVBUFFER_EOL_LF)) {
      const auto line = nlohmann::json::parse(text);
      const bool refuse =
          !refused_.empty() && std::string(text).find(refused_) != std::string::npos;
      std::free(text);
      lines_.push_back(line);
      if (silent_) {
        continue;
      }
      if (!refuse) {
        carryOut(connection, line);
      }
      const std::string answer = !always_.empty() ? always_
                                 : refuse         ? R"({"ok":false,"error":"no","line":1})"
                                                  : R"({"ok":true})";
      bufferevent_write(connection.buffer.get(), (answer + "\n").data(), answer.size() + 1);
    }
  }

  void carryOut(Connection& connection, const nlohmann::json& line) {
    const std::string op = line["op"];
    if (op == "hello") {
      connection.client = line["client"];
      return;
    }
    ASSERT_NE(connection.client, "") << "hello comes first";
    auto& records = records_[connection.client];
    nlohmann::json key = line;
    nlohmann::json values;
    key.erase("op");
    for (const char* field :
         {"latency", "jitter", "packetLoss", "responseTime", "result", "statusCode", "errorCode"}) {
      if (key.contains(field)) {
        values[field] = key[field];
        key.erase(field);
      }
    }
    if (op == "put") {
      records[key.dump()] = values;
    } else if (op == "remove") {
      gap_ = records.erase(key.dump()) != 0 || gap_;
    } else if (op == "removeClient") {
      gap_ = !records.empty() || gap_;
      records.clear();
    } else {
      ASSERT_EQ(op, "sync");
    }
  }

  TestLoop& loop_;
  std::string path_;
  std::unique_ptr<evconnlistener, Free> listener_;
  std::vector<std::unique_ptr<Connection>> connections_;
  std::vector<nlohmann::json> lines_;
  std::map<std::string, std::map<std::string, nlohmann::json>> records_;
  std::string refused_;
  std::string always_;
  bool silent_ = false;
  bool gap_ = false;
  int accepted_ = 0;
};

}  // namespace Monitor::Testing
