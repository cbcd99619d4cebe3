#pragma once

#include <compare>
#include <iosfwd>
#include <string_view>

#include "Qiv/Entity.h"
#include "Qiv/HashMap.h"
#include "Snmp/TableCounters.h"

namespace Snmp {

/// What a table serves in one context: the record that a handler registration's private pointer
/// leads to.
class RegVoid final : public Qiv::Entity {
 public:
  using Ptr = Qiv::Ptr<RegVoid>;

  RegVoid(Qiv::Entity::Ptr data, TableCounters::Ptr counters);
  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;

  [[nodiscard]] const Qiv::Entity::Ptr& data() const noexcept { return data_; }
  void dataIs(Qiv::Entity::Ptr data) { data_ = std::move(data); }
  /// May be null: a table need not count its walks.
  [[nodiscard]] const TableCounters::Ptr& tableCounters() const noexcept { return counters_; }

 private:
  Qiv::Entity::Ptr data_;
  TableCounters::Ptr counters_;
};

/// One table in one context.
struct RegVoidKey {
  Pomel::String context;
  Pomel::String table;

  [[nodiscard]] std::uint64_t hash(std::uint64_t seed) const noexcept {
    return table.hash(context.hash(seed));
  }
  friend bool operator==(const RegVoidKey&, const RegVoidKey&) = default;
  friend auto operator<=>(const RegVoidKey&, const RegVoidKey&) = default;
};

/// `CONTEXT/TABLE`.
std::ostream& operator<<(std::ostream& out, const RegVoidKey& key);

/// The process's registry of what each table serves in each context; the singleton of its type.
class RegVoidCollByContext final : public Qiv::Entity {
 public:
  using Ptr = Qiv::Ptr<RegVoidCollByContext>;
  using Records = Qiv::HashMap<RegVoidKey, RegVoid::Ptr>;
  static constexpr std::string_view kTypeName = "Snmp::RegVoidCollByContext";

  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;

  /// The process's instance, made at its first use.
  [[nodiscard]] static Ptr singleton();

  /// Enters `data` and gives its record, with counters at zero; the registry holds it until
  /// delRegVoid. A pair that is there already gets the new data, in the same record, since a
  /// registration may point at it.
  RegVoid* addRegVoid(const Pomel::String& context, const Pomel::String& table,
                      Qiv::Entity::Ptr data);
  /// Silent when absent.
  void delRegVoid(const Pomel::String& context, const Pomel::String& table);

  [[nodiscard]] const Records& regVoid() const noexcept { return records_; }

 private:
  Records records_;
};

}  // namespace Snmp
