#pragma once

#include <event2/dns.h>
#include <event2/dns_struct.h>

#include <optional>
#include <string>

#include "monitor/config/Config.h"
#include "tests/unit/monitor/ServerTesting.h"

namespace Monitor::Testing {

/// A name server on the test's own loop that knows one IPv4 and one IPv6 address for every name
/// under "example".
class DnsServer {
 public:
  explicit DnsServer(TestLoop& loop, const Binding& binding = {},
                     const std::string& address = "127.0.0.1")
      : address_(*IpAddress::parse(address)) {
    const SocketAddress any = address_.socketAddress(0);
    auto opened = openSocket(binding, AF_INET, SOCK_DGRAM, 0);
    socket_ = std::get<UniqueFd>(std::move(opened));
    EXPECT_EQ(::bind(socket_.get(), any.get(), any.length), 0);
    server_ = evdns_add_server_port_with_base(
        loop.base(), socket_.get(), 0,
        [](evdns_server_request* request, void* self) {
          static_cast<DnsServer*>(self)->answer(request);
        },
        this);
  }
  DnsServer(const DnsServer&) = delete;
  DnsServer& operator=(const DnsServer&) = delete;
  ~DnsServer() { evdns_close_server_port(server_); }

  void v4Is(std::optional<std::string> address) { v4_ = std::move(address); }
  void v6Is(std::optional<std::string> address) { v6_ = std::move(address); }
  void ttlIs(int seconds) { ttl_ = seconds; }
  [[nodiscard]] int questions() const { return questions_; }
  [[nodiscard]] VrfConfig vrf(const std::string& name, const Binding& binding = {}) const {
    return {name, binding, {{address_, portOf(socket_.get())}}};
  }

 private:
  void answer(evdns_server_request* request) {
    bool known = false;
    for (int i = 0; i < request->nquestions; ++i) {
      const evdns_server_question& question = *request->questions[i];
      if (!std::string(question.name).ends_with("example")) {
        continue;
      }
      known = true;
      if (question.type == EVDNS_TYPE_A) {
        ++questions_;
        if (v4_) {
          const SocketAddress address = IpAddress::parse(*v4_)->socketAddress(0);
          sockaddr_in v4{};
          std::memcpy(&v4, &address.storage, sizeof v4);
          evdns_server_request_add_a_reply(request, question.name, 1, &v4.sin_addr, ttl_);
        }
      } else if (question.type == EVDNS_TYPE_AAAA && v6_) {
        const SocketAddress address = IpAddress::parse(*v6_)->socketAddress(0);
        sockaddr_in6 v6{};
        std::memcpy(&v6, &address.storage, sizeof v6);
        evdns_server_request_add_aaaa_reply(request, question.name, 1, &v6.sin6_addr, ttl_);
      }
    }
    constexpr int kNoSuchName = 3;
    evdns_server_request_respond(request, known ? 0 : kNoSuchName);
  }

  IpAddress address_;
  UniqueFd socket_;
  evdns_server_port* server_ = nullptr;
  std::optional<std::string> v4_ = "192.0.2.1";
  std::optional<std::string> v6_;
  int ttl_ = 3600;
  int questions_ = 0;
};

}  // namespace Monitor::Testing
