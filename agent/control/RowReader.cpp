#include "agent/control/RowReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "Qiv/FieldText.h"

namespace Agent {

namespace {

/// The status record's fields as its text form has them.
std::vector<std::string> recordFields(const Qiv::Entity& row, std::string_view attribute) {
  return Qiv::readFields(Qiv::toText(Qiv::attributeGet(row, attribute))).value();
}

Json rowOf(const TableNames& table, const Qiv::Entity& row) {
  const std::vector<std::string> record = recordFields(row, table.record);
  Json json{{"table", std::string(table.name)}};
  const auto copy = [&](std::string_view name, std::string_view attribute) {
    json[std::string(name)] = jsonOf(Qiv::attributeGet(row, attribute));
  };
  copy("key", "indexShortName");
  copy("client", "client");
  copy("host", "host");
  if (table.addressField) {
    json["address"] = record.at(*table.addressField);
  }
  if (!table.target.empty()) {
    copy(table.target, table.target);
  }
  json["interface"] = record.front();
  copy("ifIndex", "ifIndex");
  for (const std::string_view measured : table.measured) {
    if (!measured.empty()) {
      copy(measured, measured);
    }
  }
  json["result"] = record.at(table.resultField);
  return json;
}

}  // namespace

void listRows(const Qiv::Entity::Ptr& mib, const Page& page, ListAnswer& list) {
  auto table = kTables.begin();
  std::optional<std::string> behind;
  if (page.after) {
    const std::size_t slash = page.after->find('/');
    table = std::ranges::find(kTables, std::string_view(*page.after).substr(0, slash),
                              &TableNames::name);
    if (table == kTables.end() || slash == std::string::npos) {
      throw Qiv::InspectionError("must be the next of an answer");
    }
    behind = page.after->substr(slash + 1);
  }
  for (bool whole = true; whole && table != kTables.end(); ++table, behind.reset()) {
    const auto item = [table](const std::string&, const Qiv::Value& row) {
      return rowOf(*table, *std::get<Qiv::Entity::Ptr>(row));
    };
    whole = listElements(collectionOf(mib, table->rows), behind, list, item,
                         fmt::format("{}/", table->name));
  }
}

}  // namespace Agent
