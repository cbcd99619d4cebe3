/// Feed octets through a session: whatever comes, each whole line is answered by one line, and what
/// is accepted is within the bounds that the parser promises.

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "FuzzInput.h"
#include "Ubo/YieldPolicy.h"
#include "agent/feed/Session.h"

namespace {

class NeverYield final : public Ubo::YieldPolicy {
 public:
  void sliceBegins() override {}
  bool shouldYield() override { return false; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const WithinASecond limit;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  Agent::OperationQueue queue(1000);
  Agent::ClientRegistry clients([] { return std::chrono::steady_clock::time_point(); },
                                [](const Pomel::String&) {});
  Agent::Session session(clients, queue);
  NeverYield never;
  std::string output;
  const auto work = [&] {
    while (session.hasWork()) {
      session.work(never);
      output += session.output();
      session.outputTaken(session.output().size());
      while (!queue.empty()) {
        static_cast<void>(queue.pop());
        queue.applied();
      }
    }
  };
  constexpr std::size_t kChunk = 4096;
  for (std::size_t at = 0; at < input.size() && session.wantsInput(); at += kChunk) {
    session.receive(input.substr(at, kChunk));
    work();
  }
  session.inputEnded(Agent::Session::End::kClosed);
  work();

  std::size_t answers = 0;
  for (std::string_view rest = output; !rest.empty(); ++answers) {
    const std::size_t end = rest.find('\n');
    require(end != std::string_view::npos);
    const std::string_view answer = rest.substr(0, end);
    require(answer == R"({"ok":true})" || answer.starts_with(R"({"ok":false,"error":")"));
    rest.remove_prefix(end + 1);
  }
  // An overlong line is refused before its end has come.
  std::size_t lines = input.size() > Agent::LineBuffer::kMaxLine ? 1 : 0;
  for (const char c : input) {
    lines += c == '\n' ? 1 : 0;
  }
  require(answers <= lines);
  return 0;
}
