#include "agent/feed/ClientRegistry.h"

#include <algorithm>
#include <vector>

namespace Agent {

ClientRegistry::Presence ClientRegistry::hello(const Hello& hello) {
  Client& client = clients_[hello.client];
  ++client.connections;
  client.hold = hello.hold;
  client.expiry.reset();
  return Presence(*this, hello.client);
}

void ClientRegistry::left(const Pomel::String& name) {
  const auto at = clients_.find(name);
  Client& client = at->second;
  if (--client.connections > 0) {
    return;
  }
  if (!client.hold) {
    clients_.erase(at);
    return;
  }
  client.expiry = now_() + *client.hold;
}

std::optional<Clock::time_point> ClientRegistry::nextExpiry() const {
  std::optional<Clock::time_point> next;
  for (const auto& [name, client] : clients_) {
    if (client.expiry && (!next || *client.expiry < *next)) {
      next = client.expiry;
    }
  }
  return next;
}

void ClientRegistry::expire() {
  const Clock::time_point now = now_();
  std::vector<Pomel::String> expired;
  std::erase_if(clients_, [&](const auto& entry) {
    const bool over = entry.second.expiry && *entry.second.expiry <= now;
    if (over) {
      expired.push_back(entry.first);
    }
    return over;
  });
  std::ranges::for_each(expired, withdraw_);
}

}  // namespace Agent
