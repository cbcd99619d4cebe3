#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Ubo/YieldPolicy.h"
#include "agent/control/Inspector.h"
#include "agent/feed/ClientRegistry.h"
#include "agent/feed/LineBuffer.h"
#include "agent/feed/OperationQueue.h"

namespace Agent {

/// One source of feed lines: octets in, octets out, no transport. Each line is answered by one
/// line, in order.
///
/// A session never stores without bound: it takes no line while its answers are not taken away,
/// while the queue is full, or while a sync waits, and wantsInput() tells the transport to stop
/// reading.
class Session {
 public:
  /// How the source's end is to be taken.
  enum class End : std::uint8_t {
    kClosed,     ///< A connection: half a line was never sent.
    kEndOfFile,  ///< A file: its last line may lack the line end.
  };

  /// Without an inspector, inspections are refused: a file has nobody to read their answers.
  Session(ClientRegistry& clients, OperationQueue& queue, Inspector* inspector = nullptr)
      : clients_(clients), queue_(queue), inspector_(inspector) {}
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  [[nodiscard]] bool wantsInput();
  /// Precondition: wantsInput(). At most LineBuffer::kMaxLine octets at a time.
  void receive(std::string_view bytes) { input_.append(bytes); }
  void inputEnded(End how) noexcept { ended_ = how; }

  /// Handles lines until none is left, something blocks, or the policy says yield. True when there
  /// is more to do at once.
  bool work(Ubo::YieldPolicy& yield);
  /// Whether work() would get anywhere now.
  [[nodiscard]] bool hasWork();

  /// Answers not yet taken away.
  [[nodiscard]] std::string_view output() const noexcept { return output_; }
  void outputTaken(std::size_t bytes) { output_.erase(0, bytes); }

  /// Whose records it feeds; null until hello.
  [[nodiscard]] std::optional<std::string_view> client() const;

  /// Nothing more will come of this session: its source has ended, or it broke the protocol for
  /// good, and everything it sent is handled. The transport then sends what output() has and
  /// closes.
  [[nodiscard]] bool finished();

 private:
  [[nodiscard]] bool blocked() const noexcept;
  void answerSync();
  [[nodiscard]] std::optional<std::string_view> nextLine();
  void handle(std::string_view line, Ubo::YieldPolicy& yield);
  void apply(Operation operation);
  /// Whether the change may be queued; what may not is answered.
  [[nodiscard]] bool admit(const Put& put);
  template <class Other>
  [[nodiscard]] bool admit(const Other& /*change*/) {
    return true;
  }
  void inspect(const Inspection& inspection, Ubo::YieldPolicy& yield);
  void answerOk();
  void answerRefusal(std::string_view error);

  ClientRegistry& clients_;
  OperationQueue& queue_;
  Inspector* inspector_;             ///< May be null.
  ClientRegistry::Presence client_;  ///< Empty until hello.
  LineBuffer input_;
  std::string output_;
  std::uint64_t lineNumber_ = 0;
  std::optional<std::uint64_t> syncAt_;  ///< The queue position that the sync waits for.
  std::optional<End> ended_;
  bool broken_ = false;  ///< An overlong line came: nothing behind it is read.
};

}  // namespace Agent
