#pragma once

#include <boost/intrusive/list.hpp>
#include <boost/intrusive/unordered_set.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/feed/Operation.h"

namespace Agent {

namespace Intrusive = boost::intrusive;

/// Which records the agent has published, found by key, by host, by client, by interface and by
/// the row they show in. Keys only: the measurements are the store's.
///
/// One small node a record, in intrusive containers: with a hundred thousand probes, every word of
/// it counts. Strings are shared with the store, which gets its keys from keyOf().
class Ledger {
 public:
  struct Client;
  struct Vrf;
  struct Record;
  struct ByHost;
  struct ByInterface;
  struct ByKey;
  struct ByRow;
  template <class Tag>
  using ListHook = Intrusive::list_base_hook<Intrusive::tag<Tag>>;
  template <class Tag>
  using List = Intrusive::list<Record, Intrusive::base_hook<ListHook<Tag>>,
                               Intrusive::constant_time_size<false>>;

  struct Host : Intrusive::list_base_hook<>, Intrusive::unordered_set_base_hook<> {
    Host(Client* of, Vrf* in, Pomel::String named) : client(of), vrf(in), name(std::move(named)) {}

    Client* client;
    Vrf* vrf;
    Pomel::String name;
    List<ByHost> records;  ///< Never empty but while one enters or leaves.
  };
  struct Client {
    Pomel::String name;
    Intrusive::list<Host> hosts;  ///< Never empty but while one enters or leaves.
    std::size_t records = 0;
  };
  struct Vrf {
    Pomel::String name;
    std::size_t hosts = 0;
    std::uint32_t indexed = 0;  ///< Its records that have a row.
  };
  struct Interface {
    Pomel::String name;
    std::optional<std::uint32_t> ifIndex;
    Pomel::String setBy;        ///< The client that set the present index; empty: the kernel did.
    List<ByInterface> records;  ///< In the order in which they were entered.
  };

  struct Record
      : ListHook<ByHost>,
        ListHook<ByInterface>,
        Intrusive::unordered_set_base_hook<Intrusive::tag<ByKey>>,
        Intrusive::unordered_set_base_hook<Intrusive::tag<ByRow>, Intrusive::store_hash<true>> {
    Record(Host* at, Interface* through, Target what)
        : host(at), interface(through), target(std::move(what)) {}

    Host* host;
    Interface* interface;  ///< Null: the probe names none.
    Target target;
    std::uint64_t turn = 0;  ///< Of the records that share a row, the latest shows.

    [[nodiscard]] bool indexed() const { return interface == nullptr || interface->ifIndex; }
    [[nodiscard]] const Pomel::String& client() const { return host->client->name; }
    [[nodiscard]] const Pomel::String& vrf() const { return host->vrf->name; }
  };

  Ledger();
  Ledger(const Ledger&) = delete;
  Ledger& operator=(const Ledger&) = delete;
  ~Ledger();

  [[nodiscard]] std::size_t size() const noexcept { return byKey_.size(); }

  /// Null when there is no such record.
  [[nodiscard]] Record* find(const Pomel::String& client, const ProbeKey& key);
  /// Precondition: find() gives null.
  Record& enter(const Pomel::String& client, const ProbeKey& key);
  void erase(Record& record);
  /// A turn later than all before it.
  [[nodiscard]] std::uint64_t nextTurn() noexcept { return ++turns_; }

  /// Any record of the host, or of the client; null when there is none.
  [[nodiscard]] Record* anyOf(const Pomel::String& client, const HostVrf& at);
  [[nodiscard]] Record* anyOf(const Pomel::String& client);
  [[nodiscard]] Record* any();
  /// The first record that was entered of those bound to the interface; null when there is none.
  [[nodiscard]] Record* firstOn(const Pomel::String& interface);

  /// The other records that show in the row of `record`; none when it is not indexed.
  [[nodiscard]] std::vector<Record*> sharingRowOf(const Record& record);

  [[nodiscard]] std::optional<std::uint32_t> ifIndex(const Pomel::String& interface) const;
  /// Precondition: no record is bound to the interface, so that no row's name changes under it.
  void ifIndexIs(const Pomel::String& interface, std::uint32_t ifIndex, const Pomel::String& setBy);
  /// Somebody says the same index. Precondition: the interface has one.
  void setByIs(const Pomel::String& interface, const Pomel::String& setBy);
  /// Whether a client, not the kernel, set the interface's index.
  [[nodiscard]] bool isSetByClient(const Pomel::String& interface) const;

  /// Records of the VRF that have a row.
  [[nodiscard]] std::uint32_t indexedIn(const Pomel::String& vrf) const;

  /// Null when the client has no record.
  [[nodiscard]] const Client* client(const Pomel::String& name) const;
  /// For lists that are read in pieces: the first one behind `name`, which need not be there any
  /// more (absent: the first of all). Null at the end.
  [[nodiscard]] const Client* clientBehind(const std::optional<Pomel::String>& name) const;
  [[nodiscard]] const Interface* interfaceBehind(const std::optional<Pomel::String>& name) const;

  [[nodiscard]] static ProbeKey keyOf(const Record& record);

 private:
  /// A host's identity, and a record's, for look-ups.
  struct HostId {
    const Client* client;
    const Vrf* vrf;
    std::string_view name;
    HostId(const Client* of, const Vrf* in, std::string_view named)
        : client(of), vrf(in), name(named) {}
    explicit(false) HostId(const Host& host) : HostId(host.client, host.vrf, host.name) {}
    friend bool operator==(const HostId&, const HostId&) = default;
  };
  struct RecordId {
    const Host* host;
    const Interface* interface;
    const Target* target;
    RecordId(const Host* at, const Interface* through, const Target* what)
        : host(at), interface(through), target(what) {}
    explicit(false) RecordId(const Record& record)
        : RecordId(record.host, record.interface, &record.target) {}
    friend bool operator==(const RecordId& a, const RecordId& b) noexcept {
      return a.host == b.host && a.interface == b.interface && *a.target == *b.target;
    }
  };
  struct IdHash {
    std::size_t operator()(const HostId& id) const noexcept;
    std::size_t operator()(const RecordId& id) const noexcept;
  };
  template <class Id>
  struct IdEqual {
    bool operator()(const Id& a, const Id& b) const noexcept { return a == b; }
  };
  struct RowHash {
    std::size_t operator()(const Record& record) const;
  };
  struct RowEqual {
    bool operator()(const Record& a, const Record& b) const;
  };
  using HostTable =
      Intrusive::unordered_set<Host, Intrusive::hash<IdHash>, Intrusive::equal<IdEqual<HostId>>,
                               Intrusive::power_2_buckets<true>>;
  using KeyTable = Intrusive::unordered_set<
      Record, Intrusive::base_hook<Intrusive::unordered_set_base_hook<Intrusive::tag<ByKey>>>,
      Intrusive::hash<IdHash>, Intrusive::equal<IdEqual<RecordId>>,
      Intrusive::power_2_buckets<true>>;
  using RowTable = Intrusive::unordered_multiset<
      Record,
      Intrusive::base_hook<
          Intrusive::unordered_set_base_hook<Intrusive::tag<ByRow>, Intrusive::store_hash<true>>>,
      Intrusive::hash<RowHash>, Intrusive::equal<RowEqual>, Intrusive::power_2_buckets<true>,
      Intrusive::compare_hash<true>>;

  /// A hash table with the buckets it stands in, which intrusive tables leave to their owner.
  /// Buckets are declared first: the table is emptied before they go.
  template <class Table>
  struct Bucketed {
    static constexpr std::size_t kFirstBuckets = 16;
    std::unique_ptr<typename Table::bucket_type[]> buckets{
        new typename Table::bucket_type[kFirstBuckets]};
    Table table{typename Table::bucket_traits(buckets.get(), kFirstBuckets)};

    [[nodiscard]] std::size_t size() const noexcept { return table.size(); }
    /// Doubles the buckets once there are as many entries.
    void grow();
  };

  template <class Id, class Table>
  [[nodiscard]] static auto* findIn(Table& table, const Id& id);
  [[nodiscard]] Host* findHost(const Pomel::String& client, const HostVrf& at);
  [[nodiscard]] Host& hostIs(const Pomel::String& client, const HostVrf& at);
  void hostDel(Host& host);
  [[nodiscard]] Interface* interfaceIs(const Pomel::String& name);

  std::map<Pomel::String, Client> clients_;
  std::map<Pomel::String, Vrf> vrfs_;
  std::map<Pomel::String, Interface> interfaces_;  ///< Those with records or an index.
  std::uint64_t turns_ = 0;
  Bucketed<HostTable> hosts_;
  Bucketed<KeyTable> byKey_;
  Bucketed<RowTable> byRow_;
};

/// What the plug-in calls the row of a record: client, host, address or URL, port (TCP only) and
/// ifIndex (0 without an interface), with nothing between them. Precondition: the record is
/// indexed.
[[nodiscard]] std::string rowNameOf(const Ledger::Record& record);

}  // namespace Agent
