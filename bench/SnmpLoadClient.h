#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "Ber.h"

namespace bench {

/// Sends requests to an agent on 127.0.0.1 and takes the answers, with raw datagrams, so that the
/// agent and not the client is what a measurement measures. Throws std::runtime_error for a socket
/// error, an answer that does not fit, or none within the patience.
class SnmpLoadClient {
 public:
  SnmpLoadClient(std::uint16_t port, std::string community,
                 std::chrono::seconds patience = std::chrono::seconds(1));
  SnmpLoadClient(const SnmpLoadClient&) = delete;
  SnmpLoadClient& operator=(const SnmpLoadClient&) = delete;
  ~SnmpLoadClient();

  /// One request and its answer. The answer's values hold until the next call.
  const Response& ask(Pdu pdu, const std::vector<Oid>& names, std::uint8_t nonRepeaters = 0,
                      std::uint8_t maxRepetitions = 0);

  /// Sends every packet of `packets`, `window` of them under way at a time. Returns the number of
  /// octets of all answers. Every answer is counted; one with an error status is an error. Never
  /// sleeps meanwhile: to wake up who waits for an answer costs whoever sends it, the agent.
  std::size_t run(std::span<const std::string> packets, unsigned window);

  [[nodiscard]] std::string encode(Pdu pdu, const std::vector<Oid>& names,
                                   std::uint8_t nonRepeaters = 0,
                                   std::uint8_t maxRepetitions = 0) const {
    return encodeRequest(pdu, community_, names, nonRepeaters, maxRepetitions);
  }

 private:
  void send(const std::string& packet);
  std::string_view receive();
  std::string_view awaitAwake();

  std::string community_;
  std::chrono::steady_clock::duration patience_;
  int socket_;
  std::uint32_t lastId_ = 0;
  std::string out_;
  std::vector<char> in_;
  Response response_;
};

}  // namespace bench
