#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace Model {

/// What the feed's users are promised, as plain maps: no code of the product is used here.

enum class Kind : std::uint8_t { kIcmp, kHttp, kTcp };

struct RecordId {
  std::string client;
  std::string vrf;
  std::string host;
  Kind kind = Kind::kIcmp;
  std::string interface;  ///< Empty: through none in particular.
  std::string target;     ///< Address or URL.
  unsigned port = 0;      ///< TCP only.
  friend auto operator<=>(const RecordId&, const RecordId&) = default;
};

/// Time is the latency or the response time.
struct Measured {
  float time = 0;
  float jitter = 0;     ///< ICMP only.
  unsigned loss = 0;    ///< ICMP only.
  std::string comment;  ///< In no table, yet part of what makes a record another.
  friend bool operator==(const Measured&, const Measured&) = default;
};

struct RowId {
  std::string vrf;
  Kind kind = Kind::kIcmp;
  std::string name;
  friend auto operator<=>(const RowId&, const RowId&) = default;
};

/// A row as a table shows it.
struct Row {
  std::string client;
  std::string host;
  std::string target;
  unsigned port = 0;
  std::uint32_t ifIndex = 0;
  float time = 0;
  float jitter = 0;
  unsigned loss = 0;
  friend bool operator==(const Row&, const Row&) = default;
};
using Rows = std::map<RowId, Row>;
using Counts = std::map<std::string, std::uint32_t>;

struct SetInterface {
  std::string name;
  std::uint32_t ifIndex = 0;
};
struct Put {
  RecordId id;  ///< The client's name is that of the change.
  Measured measured;
};
struct Remove {
  RecordId id;
};
struct RemoveHost {
  std::string vrf;
  std::string host;
};
struct RemoveClient {};

/// A change that was accepted; from the kernel when the client is empty.
struct Change {
  std::string client;
  std::variant<SetInterface, Put, Remove, RemoveHost, RemoveClient> what;
};

/// The state after some changes were applied.
class Reference {
 public:
  explicit Reference(std::uint32_t countCeiling) : ceiling_(countCeiling) {}

  void apply(const Change& change);
  /// The plug-in's agent was replaced, and all records were published to the new one.
  void agentReplaced();

  [[nodiscard]] std::size_t records() const { return records_.size(); }
  [[nodiscard]] Rows rows() const;
  /// Every row that one of the records could show, whichever shows.
  [[nodiscard]] std::map<RowId, std::vector<Row>> candidates() const;
  /// VRFs that are counted, with their counts.
  [[nodiscard]] const Counts& counts() const { return counts_; }
  /// VRFs that have an object, and so an SNMP context.
  [[nodiscard]] const std::set<std::string>& contexts() const { return served_; }
  /// How many records of the kind wait for each interface's index.
  [[nodiscard]] std::map<std::string, std::size_t> waiting(Kind kind) const;
  /// The same state without the records that a change under way may have touched already.
  [[nodiscard]] Reference without(const Change& change) const;

 private:
  struct Entry {
    Measured measured;
    std::uint64_t turn = 0;  ///< Of the put that was last; the latest of a row shows.
  };

  void change(const std::string& client, const SetInterface& set);
  void change(const std::string& client, const Put& put);
  void change(const std::string& client, const Remove& remove);
  void change(const std::string& client, const RemoveHost& remove);
  void change(const std::string& client, const RemoveClient& remove);
  [[nodiscard]] bool sets(const std::string& client, const SetInterface& set) const;
  template <class Condition>
  void removeIf(const Condition& condition);

  void cleanUp(const std::string& vrf);
  [[nodiscard]] std::optional<std::uint32_t> indexOf(const RecordId& id) const;
  [[nodiscard]] std::optional<RowId> rowOf(const RecordId& id) const;
  void countUp(const std::string& vrf, std::uint32_t indexedNow);
  void countDown(const std::string& vrf);
  [[nodiscard]] std::uint32_t indexedIn(const std::string& vrf) const;

  std::uint32_t ceiling_;
  std::uint64_t turns_ = 0;
  std::map<RecordId, Entry> records_;
  std::map<std::string, std::uint32_t> ifIndexes_;
  std::map<std::string, std::string> setBy_;  ///< Empty: the kernel.
  Counts counts_;
  /// VRFs with an object. A count that has drifted keeps one that has no row any more; when the
  /// agent is replaced, such an object stays without a count until something happens in its VRF.
  std::set<std::string> served_;
};

/// A row's key: client, host, target, port and index joined.
[[nodiscard]] std::string rowName(const RecordId& id, std::uint32_t ifIndex);

}  // namespace Model
