#include "agent/feed/Ledger.h"

#include <fmt/format.h>

#include <bit>
#include <cassert>

namespace Agent {

namespace {

std::uint64_t mixPointer(std::uint64_t seed, const void* pointer) {
  return Pomel::hashMix(seed, std::bit_cast<std::uintptr_t>(pointer));
}

std::uint64_t hashTarget(std::uint64_t seed, const IcmpTarget& target) {
  return target.address.hash(seed);
}
std::uint64_t hashTarget(std::uint64_t seed, const HttpTarget& target) {
  return target.url.hash(seed);
}
std::uint64_t hashTarget(std::uint64_t seed, const TcpTarget& target) {
  return Pomel::hashMix(target.address.hash(seed), target.port);
}

using Text = fmt::memory_buffer;

void appendTarget(Text& text, const IcmpTarget& target) {
  Lintu::IpGenAddr::TextBuffer buffer;
  text.append(target.address.text(buffer));
}
void appendTarget(Text& text, const HttpTarget& target) { text.append(target.url.view()); }
void appendTarget(Text& text, const TcpTarget& target) {
  Lintu::IpGenAddr::TextBuffer buffer;
  text.append(target.address.text(buffer));
  fmt::format_to(std::back_inserter(text), "{}", target.port);
}

void appendRowName(Text& text, const Ledger::Record& record) {
  text.append(record.client().view());
  text.append(record.host->name.view());
  std::visit([&](const auto& target) { appendTarget(text, target); }, record.target);
  const std::uint32_t ifIndex = record.interface == nullptr ? 0 : *record.interface->ifIndex;
  fmt::format_to(std::back_inserter(text), "{}", ifIndex);
}

std::string_view view(const Text& text) { return {text.data(), text.size()}; }

template <class Map>
const typename Map::mapped_type* valueBehind(const Map& map,
                                             const std::optional<Pomel::String>& name) {
  const auto at = name ? map.upper_bound(*name) : map.begin();
  return at == map.end() ? nullptr : &at->second;
}

}  // namespace

std::string rowNameOf(const Ledger::Record& record) {
  Text text;
  appendRowName(text, record);
  return std::string(view(text));
}

std::size_t Ledger::IdHash::operator()(const HostId& id) const noexcept {
  return Pomel::hashBytes(mixPointer(mixPointer(0, id.client), id.vrf), id.name);
}

std::size_t Ledger::IdHash::operator()(const RecordId& id) const noexcept {
  const std::uint64_t seed = mixPointer(mixPointer(0, id.host), id.interface);
  return std::visit([seed](const auto& target) { return hashTarget(seed, target); }, *id.target);
}

std::size_t Ledger::RowHash::operator()(const Record& record) const {
  Text text;
  appendRowName(text, record);
  return Pomel::hashBytes(mixPointer(record.target.index(), record.host->vrf), view(text));
}

bool Ledger::RowEqual::operator()(const Record& a, const Record& b) const {
  if (a.host->vrf != b.host->vrf || a.target.index() != b.target.index()) {
    return false;
  }
  Text ofA;
  Text ofB;
  appendRowName(ofA, a);
  appendRowName(ofB, b);
  return view(ofA) == view(ofB);
}

template <class Table>
void Ledger::Bucketed<Table>::grow() {
  const std::size_t count = table.bucket_count();
  if (table.size() < count) {
    return;
  }
  std::unique_ptr<typename Table::bucket_type[]> larger(new typename Table::bucket_type[count * 2]);
  table.rehash(typename Table::bucket_traits(larger.get(), count * 2));
  buckets = std::move(larger);
}

Ledger::Ledger() = default;

Ledger::~Ledger() {
  while (Record* record = any()) {
    erase(*record);
  }
}

template <class Id, class Table>
auto* Ledger::findIn(Table& table, const Id& id) {
  const auto at = table.find(id, IdHash(), IdEqual<Id>());
  return at == table.end() ? nullptr : &*at;
}

Ledger::Interface* Ledger::interfaceIs(const Pomel::String& name) {
  if (name.empty()) {
    return nullptr;
  }
  const auto [at, made] = interfaces_.try_emplace(name);
  if (made) {
    at->second.name = name;
  }
  return &at->second;
}

Ledger::Host* Ledger::findHost(const Pomel::String& client, const HostVrf& at) {
  const auto owner = clients_.find(client);
  const auto vrf = vrfs_.find(at.vrf);
  if (owner == clients_.end() || vrf == vrfs_.end()) {
    return nullptr;
  }
  return findIn(hosts_.table, HostId(&owner->second, &vrf->second, at.host));
}

Ledger::Host& Ledger::hostIs(const Pomel::String& client, const HostVrf& at) {
  if (Host* known = findHost(client, at)) {
    return *known;
  }
  Client& owner = clients_[client];
  owner.name = client;
  Vrf& vrf = vrfs_[at.vrf];
  vrf.name = at.vrf;
  auto* host = new Host(&owner, &vrf, at.host);
  owner.hosts.push_back(*host);
  ++vrf.hosts;
  hosts_.grow();
  hosts_.table.insert(*host);
  return *host;
}

void Ledger::hostDel(Host& host) {
  Client* client = host.client;
  Vrf* vrf = host.vrf;
  hosts_.table.erase(hosts_.table.iterator_to(host));
  client->hosts.erase(client->hosts.iterator_to(host));
  delete &host;
  if (client->hosts.empty()) {
    clients_.erase(clients_.find(client->name));
  }
  if (--vrf->hosts == 0) {
    vrfs_.erase(vrfs_.find(vrf->name));
  }
}

Ledger::Record* Ledger::find(const Pomel::String& client, const ProbeKey& key) {
  const Host* host = findHost(client, key.at);
  const auto interface = interfaces_.find(key.interface);
  const bool bound = !key.interface.empty();
  if (host == nullptr || (bound && interface == interfaces_.end())) {
    return nullptr;
  }
  return findIn(byKey_.table, RecordId(host, bound ? &interface->second : nullptr, &key.target));
}

Ledger::Record& Ledger::enter(const Pomel::String& client, const ProbeKey& key) {
  Host& host = hostIs(client, key.at);
  auto* record = new Record(&host, interfaceIs(key.interface), key.target);
  host.records.push_back(*record);
  ++host.client->records;
  if (record->interface != nullptr) {
    record->interface->records.push_back(*record);
  }
  byKey_.grow();
  byKey_.table.insert(*record);
  if (record->indexed()) {
    ++host.vrf->indexed;
    byRow_.grow();
    byRow_.table.insert(*record);
  }
  return *record;
}

void Ledger::erase(Record& record) {
  Host* host = record.host;
  Interface* interface = record.interface;
  byKey_.table.erase(byKey_.table.iterator_to(record));
  if (record.indexed()) {
    --host->vrf->indexed;
    byRow_.table.erase(byRow_.table.iterator_to(record));
  }
  host->records.erase(host->records.iterator_to(record));
  --host->client->records;
  if (interface != nullptr) {
    interface->records.erase(interface->records.iterator_to(record));
  }
  delete &record;

  if (interface != nullptr && interface->records.empty() && !interface->ifIndex) {
    interfaces_.erase(interfaces_.find(interface->name));
  }
  if (host->records.empty()) {
    hostDel(*host);
  }
}

Ledger::Record* Ledger::anyOf(const Pomel::String& client, const HostVrf& at) {
  Host* host = findHost(client, at);
  return host == nullptr ? nullptr : &host->records.front();
}

Ledger::Record* Ledger::anyOf(const Pomel::String& client) {
  const auto at = clients_.find(client);
  return at == clients_.end() ? nullptr : &at->second.hosts.front().records.front();
}

Ledger::Record* Ledger::any() {
  return clients_.empty() ? nullptr : anyOf(clients_.begin()->first);
}

Ledger::Record* Ledger::firstOn(const Pomel::String& interface) {
  const auto at = interfaces_.find(interface);
  return at == interfaces_.end() || at->second.records.empty() ? nullptr
                                                               : &at->second.records.front();
}

std::vector<Ledger::Record*> Ledger::sharingRowOf(const Record& record) {
  std::vector<Record*> others;
  if (record.indexed()) {
    for (auto [at, end] = byRow_.table.equal_range(record); at != end; ++at) {
      if (&*at != &record) {
        others.push_back(&*at);
      }
    }
  }
  return others;
}

std::optional<std::uint32_t> Ledger::ifIndex(const Pomel::String& interface) const {
  const auto at = interfaces_.find(interface);
  return at == interfaces_.end() ? std::nullopt : at->second.ifIndex;
}

void Ledger::ifIndexIs(const Pomel::String& interface, std::uint32_t ifIndex,
                       const Pomel::String& setBy) {
  Interface* entry = interfaceIs(interface);
  assert(entry->records.empty());
  entry->ifIndex = ifIndex;
  entry->setBy = setBy;
}

void Ledger::setByIs(const Pomel::String& interface, const Pomel::String& setBy) {
  interfaces_.at(interface).setBy = setBy;
}

bool Ledger::isSetByClient(const Pomel::String& interface) const {
  const auto at = interfaces_.find(interface);
  return at != interfaces_.end() && at->second.ifIndex && !at->second.setBy.empty();
}

const Ledger::Client* Ledger::client(const Pomel::String& name) const {
  const auto at = clients_.find(name);
  return at == clients_.end() ? nullptr : &at->second;
}

const Ledger::Client* Ledger::clientBehind(const std::optional<Pomel::String>& name) const {
  return valueBehind(clients_, name);
}

const Ledger::Interface* Ledger::interfaceBehind(const std::optional<Pomel::String>& name) const {
  return valueBehind(interfaces_, name);
}

std::uint32_t Ledger::indexedIn(const Pomel::String& vrf) const {
  const auto at = vrfs_.find(vrf);
  return at == vrfs_.end() ? 0 : at->second.indexed;
}

ProbeKey Ledger::keyOf(const Record& record) {
  return {{record.host->name, record.host->vrf->name},
          record.interface == nullptr ? Pomel::String() : record.interface->name,
          record.target};
}

}  // namespace Agent
