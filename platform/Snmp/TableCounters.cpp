#include "Snmp/TableCounters.h"

#include "Qiv/TypeInfo.h"

namespace Snmp {

const Qiv::TypeInfo& tableCountersType() {
  using enum OrderedTableIteratorCounterTypes;
  using Counters = TableCounters;
  static const Qiv::TypeInfo type{
      "Snmp::TableCounters",
      nullptr,  // Made with the record that they belong to.
      {Qiv::attribute<&Counters::count<kHintNotFound>>("hintNotFound"),
       Qiv::attribute<&Counters::count<kHintFound>>("hintFound"),
       Qiv::attribute<&Counters::count<kNoHint>>("noHint"),
       Qiv::attribute<&Counters::count<kNextAtEnd>>("nextAtEnd"),
       Qiv::attribute<&Counters::count<kResearchedNotFound>>("researchedNotFound"),
       Qiv::attribute<&Counters::count<kResearchedFound>>("researchedFound")}};
  return type;
}

const Qiv::TypeInfo& TableCounters::typeInfo() const { return tableCountersType(); }

}  // namespace Snmp
