#include "agent/feed/RecordBook.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "agent/Quote.h"

namespace Agent {

namespace {

/// So many warnings tell what is wrong; more would only fill the log and the memory.
constexpr std::size_t kMaxWarnings = 1000;

std::string describe(const IcmpTarget& target) {
  return fmt::format("icmp {}", target.address.stringValue());
}
/// The log is no place for the password that a URL may hold (RFC 3986, 3.2.1).
std::string withoutUser(std::string_view url) {
  const std::size_t scheme = url.find("://");
  const std::size_t begin = scheme == std::string_view::npos ? 0 : scheme + 3;
  const std::size_t at = url.substr(0, url.find_first_of("/?#", begin)).rfind('@');
  return at == std::string_view::npos || at < begin
             ? std::string(url)
             : fmt::format("{}...{}", url.substr(0, begin), url.substr(at));
}

std::string describe(const HttpTarget& target) {
  return fmt::format("http {}", quote(withoutUser(target.url)));
}
std::string describe(const TcpTarget& target) {
  return fmt::format("tcp {} port {}", target.address.stringValue(), target.port);
}

std::string describe(const Ledger::Record& record) {
  return fmt::format(
      "client {} host {} interface {} {}", quote(record.client()), quote(record.host->name),
      quote(record.interface == nullptr ? "" : record.interface->name.view()),
      std::visit([](const auto& target) { return describe(target); }, record.target));
}

Ledger::Record* lastPut(const std::vector<Ledger::Record*>& records) {
  return records.empty() ? nullptr : *std::ranges::max_element(records, {}, &Ledger::Record::turn);
}

}  // namespace

void RecordBook::put(const Pomel::String& client, const ProbeKey& key,
                     const Measurements& measured) {
  Ledger::Record* record = ledger_.find(client, key);
  const bool isNew = record == nullptr;
  if (isNew) {
    record = &ledger_.enter(client, key);
  }
  const std::uint64_t before = std::exchange(record->turn, ledger_.nextTurn());
  Ledger::Record* other = lastPut(ledger_.sharingRowOf(*record));
  if (isNew && other != nullptr) {
    warnOfSharing(*record, *other);
  }
  const bool changed = publish(*record, measured);
  if (!changed && other != nullptr && other->turn > before) {
    // An equal record is no change to the store, yet it is the last that was put.
    showAgain(*record);
  }
}

void RecordBook::restore(const Withdrawn& withdrawn) {
  Ledger::Record& record = ledger_.enter(withdrawn.client, withdrawn.key);
  record.turn = withdrawn.turn;
  Ledger::Record* other = lastPut(ledger_.sharingRowOf(record));
  publish(record, withdrawn.measured);
  if (other != nullptr) {
    if (other->turn > record.turn) {
      warnOfSharing(*other, record);
      showAgain(*other);
    } else {
      warnOfSharing(record, *other);
    }
  }
}

bool RecordBook::publish(Ledger::Record& record, const Measurements& measured) {
  const bool changed = store_.recordIs(record.client(), Ledger::keyOf(record), measured);
  Events& events = events_[record.target.index()];
  ++(changed ? events.published : events.unchanged);
  if (changed && record.indexed()) {
    countUp(record.vrf());
  }
  return changed;
}

void RecordBook::remove(const Pomel::String& client, const ProbeKey& key) {
  if (Ledger::Record* record = ledger_.find(client, key)) {
    remove(*record);
  }
}

Withdrawn RecordBook::withdraw(Ledger::Record& record) {
  Withdrawn withdrawn{record.client(), Ledger::keyOf(record), {}, record.turn};
  withdrawn.measured = store_.record(withdrawn.client, withdrawn.key);
  remove(record);
  return withdrawn;
}

void RecordBook::ifIndexIs(const Pomel::String& interface, std::uint32_t ifIndex,
                           const Pomel::String& setBy) {
  ledger_.ifIndexIs(interface, ifIndex, setBy);
  store_.ifIndexIs(interface, ifIndex);
}

void RecordBook::remove(Ledger::Record& record) {
  Ledger::Record* other = lastPut(ledger_.sharingRowOf(record));
  const Pomel::String client = record.client();
  const ProbeKey key = Ledger::keyOf(record);
  const bool indexed = record.indexed();
  ledger_.erase(record);
  store_.recordDel(client, key);
  ++events_[key.target.index()].removed;
  if (indexed) {
    countDown(key.at.vrf);
  }
  if (other != nullptr) {
    showAgain(*other);
  }
}

void RecordBook::showAgain(Ledger::Record& record) {
  const ProbeKey key = Ledger::keyOf(record);
  const Measurements measured = store_.record(record.client(), key);
  store_.recordDel(record.client(), key);
  ++events_[key.target.index()].removed;
  countDown(key.at.vrf);
  publish(record, measured);
}

void RecordBook::countUp(const Pomel::String& vrf) {
  std::uint32_t& count = counts_[vrf];
  if (++count >= countCeiling_) {
    count = ledger_.indexedIn(vrf);
    store_.vrfCountIs(vrf, count);
  }
}

void RecordBook::countDown(const Pomel::String& vrf) {
  const auto at = counts_.find(vrf);
  if (--at->second == 0) {
    counts_.erase(at);
  }
}

void RecordBook::warnOfSharing(const Ledger::Record& later, const Ledger::Record& earlier) {
  const auto hash = [](const Ledger::Record& record) {
    return Pomel::hashBytes(record.target.index(), describe(record));
  };
  const std::size_t both = Pomel::hashMix(hash(later) + hash(earlier), later.vrf().hash(0));
  if (warned_.size() >= kMaxWarnings || !warned_.insert(both).second) {
    return;
  }
  warn_(fmt::format("two records of VRF {} have one row and the later one shows: {}; {}",
                    quote(later.vrf()), describe(later), describe(earlier)));
  if (warned_.size() == kMaxWarnings) {
    warn_("no further warnings of records that have one row");
  }
}

}  // namespace Agent
