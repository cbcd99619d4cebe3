#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>

#include "agent/feed/Operation.h"

namespace Agent {

using Clock = std::chrono::steady_clock;
using Now = std::function<Clock::time_point()>;

/// Which clients have connections, and when the records of those that have none any more are to go.
///
/// Records belong to the client's name, not to a connection. Rules:
///  1. a client may have several connections at once; the hold time of its latest hello counts;
///  2. the hold time begins when its last connection closes;
///  3. a hello within the time ends the wait, and the records stay.
class ClientRegistry {
 public:
  struct Client {
    unsigned connections = 0;
    Hold hold;
    std::optional<Clock::time_point> expiry;  ///< Set only while there is no connection.
  };
  /// What came from all connections and files together.
  struct Lines {
    std::uint64_t taken = 0;  ///< Refused ones included.
    std::uint64_t refused = 0;
  };

  using Withdraw = std::function<void(const Pomel::String& client)>;

  /// A connection's stay; the connection closes with this object. Movable, may be empty.
  class Presence {
   public:
    Presence() = default;
    Presence(Presence&& other) noexcept
        : registry_(std::exchange(other.registry_, nullptr)), client_(std::move(other.client_)) {}
    Presence& operator=(Presence&& other) noexcept {
      std::swap(registry_, other.registry_);
      std::swap(client_, other.client_);
      return *this;
    }
    ~Presence() {
      if (registry_ != nullptr) {
        registry_->left(client_);
      }
    }

    [[nodiscard]] bool known() const noexcept { return registry_ != nullptr; }
    [[nodiscard]] const Pomel::String& client() const noexcept { return client_; }

   private:
    friend class ClientRegistry;
    Presence(ClientRegistry& registry, Pomel::String client)
        : registry_(&registry), client_(std::move(client)) {}

    ClientRegistry* registry_ = nullptr;
    Pomel::String client_;
  };

  /// `withdraw` is called for a client whose hold time is over. The registry outlives its
  /// Presences.
  ClientRegistry(Now now, Withdraw withdraw)
      : now_(std::move(now)), withdraw_(std::move(withdraw)) {}
  ClientRegistry(const ClientRegistry&) = delete;
  ClientRegistry& operator=(const ClientRegistry&) = delete;

  [[nodiscard]] Presence hello(const Hello& hello);

  /// When expire() will next have something to do.
  [[nodiscard]] std::optional<Clock::time_point> nextExpiry() const;
  /// Withdraws the clients whose time has come.
  void expire();

  /// Those with a connection or an expiry, by name.
  [[nodiscard]] const std::map<Pomel::String, Client>& clients() const noexcept { return clients_; }
  [[nodiscard]] Clock::time_point now() const { return now_(); }
  /// Sessions count here.
  [[nodiscard]] Lines& lines() noexcept { return lines_; }
  [[nodiscard]] const Lines& lines() const noexcept { return lines_; }

 private:
  void left(const Pomel::String& name);

  Now now_;
  Withdraw withdraw_;
  std::map<Pomel::String, Client> clients_;
  Lines lines_;
};

}  // namespace Agent
