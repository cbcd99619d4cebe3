#include "agent/control/ControlDesk.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "Snmp/RegVoidCollByContext.h"
#include "agent/Version.h"
#include "agent/control/RowReader.h"
#include "agent/control/StoreWalk.h"

namespace Agent {

namespace {

/// A refusal on the way through an answer that is about one field.
class FieldError : public std::runtime_error {
 public:
  FieldError(std::string_view field, std::string_view what)
      : std::runtime_error(refusal(field, what).error) {}
};

/// What `read` gives; what it cannot inspect is the fault of `field`.
template <class Read>
auto blaming(std::string_view field, const Read& read) {
  try {
    return read();
  } catch (const Qiv::InspectionError& error) {
    throw FieldError(field, error.what());
  }
}

Json okay() { return Json{{"ok", true}}; }

double secondsOf(Clock::duration time) {
  return static_cast<double>(std::chrono::duration_cast<std::chrono::milliseconds>(time).count()) /
         1000;
}

/// The attributes of an entity that are single values.
Json valuesOf(const Qiv::Entity::Ptr& entity) {
  Json json = Json::object();
  if (entity) {
    for (const Qiv::Attribute& attribute : entity->typeInfo().attributes()) {
      if (attribute.get != nullptr) {
        json[std::string(attribute.name)] = jsonOf(attribute.get(*entity));
      }
    }
  }
  return json;
}

/// How walks of a table went in a VRF. Managers reach the default VRF by the empty context's name,
/// too.
Json walksOf(const Pomel::String& vrf, std::string_view mibTable) {
  Json sum = Json::object();
  const auto& records = Snmp::RegVoidCollByContext::singleton()->regVoid();
  const auto add = [&](const Pomel::String& context) {
    const auto* record = records.find({context, Pomel::String(mibTable)});
    if (record == nullptr || !(*record)->tableCounters()) {
      return;
    }
    const Json counts = valuesOf((*record)->tableCounters());
    for (const auto& [kind, count] : counts.items()) {
      sum[kind] = sum.value(kind, std::uint64_t{0}) + count.get<std::uint64_t>();
    }
  };
  add(vrf);
  if (vrf == "default") {
    add("");
  }
  return sum;
}

Json attributeOf(const Qiv::Entity& entity, const Qiv::Attribute& attribute) {
  Json json{{"name", std::string(attribute.name)}};
  if (attribute.size != nullptr) {
    json["size"] = attribute.size(entity);
  } else if (attribute.get == nullptr) {
    json["function"] = true;
  } else {
    const Qiv::Value value = attribute.get(entity);
    const auto* inner = std::get_if<Qiv::Entity::Ptr>(&value);
    if (inner != nullptr && *inner) {
      json["type"] = std::string((*inner)->typeInfo().name());
    } else {
      json["value"] = jsonOf(value);
    }
  }
  return json;
}

Json elementOf(const std::string& name, const Qiv::Value& value) {
  Json json{{"key", name}};
  const auto* inner = std::get_if<Qiv::Entity::Ptr>(&value);
  if (inner != nullptr && *inner) {
    json["type"] = std::string((*inner)->typeInfo().name());
  } else if (!std::holds_alternative<std::monostate>(value)) {
    json["value"] = jsonOf(value);
  }
  return json;
}

}  // namespace

std::variant<std::string, Refusal> ControlDesk::answer(const Inspection& inspection,
                                                       Ubo::YieldPolicy& yield) {
  try {
    return std::visit([&](const auto& asked) { return show(asked, yield); }, inspection);
  } catch (const FieldError& error) {
    return Refusal{error.what()};
  }
}

Qiv::Dir::Ptr ControlDesk::mibs() const {
  return Qiv::dirAt(sources_.root, "snmp/connectivityMonitor/conMonMib");
}

Qiv::Entity::Ptr ControlDesk::pluginAgent() const {
  return entityIn(Qiv::entityAt(*sources_.root, "snmp/connectivityMonitor/connectivityMonitorSnmp"),
                  "connectivityMonitorSnmpAgent");
}

std::string ControlDesk::show(const ShowTables& tables, Ubo::YieldPolicy& yield) const {
  const Qiv::Entity::Ptr mib = mibs()->entityPtr(tables.vrf);
  ListAnswer list(tables.page, yield);
  if (mib) {
    blaming("after", [&] {
      listRows(mib, tables.page, list);
      return true;
    });
  } else if (tables.vrf != "default") {
    throw FieldError("vrf", "no such VRF");
  }
  return list.text(okay(), "rows");
}

std::string ControlDesk::show(const ShowEntity& entity, Ubo::YieldPolicy& yield) const {
  const Place place = blaming("path", [&] { return placeAt(sources_.root, entity.path); });
  if (const auto* collection = std::get_if<CollectionPlace>(&place)) {
    ListAnswer list(entity.page, yield);
    blaming("after", [&] { return listElements(*collection, entity.page.after, list, elementOf); });
    Json head = okay();
    head["size"] = collection->attribute->size(*collection->owner);
    return list.text(head, "elements");
  }
  if (entity.page.after) {
    throw FieldError("after", "this path leads to no collection");
  }
  Json json = okay();
  if (const auto* value = std::get_if<Qiv::Value>(&place)) {
    json["value"] = jsonOf(*value);
    return lineOf(json);
  }
  const auto& at = std::get<Qiv::Entity::Ptr>(place);
  json["type"] = std::string(at->typeInfo().name());
  json["attributes"] = Json::array();
  for (const Qiv::Attribute& attribute : at->typeInfo().attributes()) {
    json["attributes"].push_back(attributeOf(*at, attribute));
  }
  return lineOf(json);
}

Json ControlDesk::machineOf(std::string_view attribute) const {
  const Qiv::Entity::Ptr machine = entityIn(pluginAgent(), attribute);
  Json json = Json::object();
  if (!machine) {
    return json;
  }
  const Json values = valuesOf(machine);
  for (const auto& [name, value] : values.items()) {
    if (value.is_boolean()) {
      json[name] = value;
    }
  }
  json["scans"] = valuesOf(entityIn(machine, "inputSmScanState"));
  json["outputs"] = valuesOf(entityIn(machine, "outputState"));
  const Qiv::Entity::Ptr store = entityIn(machine, "localAttrStore");
  const auto backlog = store->typeInfo().attributes().front();
  json["waitingInterfaces"] = backlog.size(*store);
  return json;
}

std::string ControlDesk::show(const ShowStats& /*stats*/, Ubo::YieldPolicy& /*yield*/) const {
  const RecordBook& book = sources_.book;
  Json json = okay();
  json["version"] = std::string(kVersion);
  json["uptimeSeconds"] = secondsOf(sources_.clients.now() - started_);
  json["gate"] = {{"state", std::string(sources_.gate.stateName())},
                  {"replacements", sources_.gate.replacements()}};
  json["records"] = book.ledger().size();
  json["sharedRows"] = book.sharings();
  json["lines"] = {{"taken", sources_.clients.lines().taken},
                   {"refused", sources_.clients.lines().refused}};
  json["changes"] = {{"accepted", sources_.queue.accepted()},
                     {"waiting", sources_.queue.waiting()}};
  const ContextLimit& contexts = sources_.queue.contexts();
  json["contexts"] = {{"used", contexts.used()}, {"limit", contexts.limit()}};
  for (std::size_t kind = 0; kind < kTables.size(); ++kind) {
    const RecordBook::Events& events = book.events()[kind];
    const TableNames& table = kTables[kind];
    json["tables"][std::string(table.name)] = {{"events",
                                                {{"published", events.published},
                                                 {"unchanged", events.unchanged},
                                                 {"removed", events.removed}}},
                                               {"machine", machineOf(table.machine)}};
  }
  return lineOf(json);
}

std::string ControlDesk::show(const ListVrfs& vrfs, Ubo::YieldPolicy& yield) const {
  const Qiv::Entity::Ptr counts = entityIn(pluginAgent(), "vrfRefCount");
  ListAnswer list(vrfs.page, yield);
  const auto item = [&](const std::string& pathName, const Qiv::Value& value) {
    const auto& mib = std::get<Qiv::Entity::Ptr>(value);
    const Pomel::String name(Qiv::toText(Qiv::attributeGet(*mib, "name")));
    Json json{{"name", jsonOf(Qiv::Value(name))}};
    std::optional<Qiv::Value> count;
    if (counts) {
      count = elementIn(collectionOf(counts, "vrfRefCount"), pathName);
    }
    json["count"] = count ? jsonOf(*count) : Json(0);
    for (const TableNames& table : kTables) {
      const CollectionPlace rows = collectionOf(mib, table.rows);
      json["tables"][std::string(table.name)] = {{"rows", rows.attribute->size(*rows.owner)},
                                                 {"walks", walksOf(name, table.mibTable)}};
    }
    return json;
  };
  blaming("after", [&] {
    return listElements(collectionOf(mibs(), "entityPtr"), vrfs.page.after, list, item);
  });
  return list.text(okay(), "vrfs");
}

Json ControlDesk::clientOf(const Pomel::String& name) const {
  // A client without connections and hold time is known by its records alone.
  Json json{{"name", jsonOf(Qiv::Value(name))}, {"connections", 0}, {"holdSeconds", nullptr}};
  const auto& known = sources_.clients.clients();
  if (const auto at = known.find(name); at != known.end()) {
    json["connections"] = at->second.connections;
    if (at->second.hold) {
      json["holdSeconds"] = secondsOf(*at->second.hold);
    }
    if (at->second.expiry) {
      const auto left = *at->second.expiry - sources_.clients.now();
      json["expiresInSeconds"] = secondsOf(std::max(left, Clock::duration::zero()));
    }
  }
  const auto* records = sources_.book.ledger().client(name);
  json["records"] = records == nullptr ? 0 : records->records;
  return json;
}

std::string ControlDesk::show(const ListClients& clients, Ubo::YieldPolicy& yield) const {
  ListAnswer list(clients.page, yield);
  std::optional<Pomel::String> at;
  if (clients.page.after) {
    at = Pomel::String(*clients.page.after);
  }
  const auto& known = sources_.clients.clients();
  while (true) {
    // Two lists by name are read as one: those with connections, and those with records.
    const auto present = at ? known.upper_bound(*at) : known.begin();
    const auto* owner = sources_.book.ledger().clientBehind(at);
    if (present == known.end() && owner == nullptr) {
      break;
    }
    if (present == known.end() || (owner != nullptr && owner->name < present->first)) {
      at = owner->name;
    } else {
      at = present->first;
    }
    if (!list.takesMore()) {
      break;
    }
    list.add(clientOf(*at), at->stdString());
  }
  return list.text(okay(), "clients");
}

std::string ControlDesk::show(const ListInterfaces& interfaces, Ubo::YieldPolicy& yield) const {
  ListAnswer list(interfaces.page, yield);
  std::optional<Pomel::String> at;
  if (interfaces.page.after) {
    at = Pomel::String(*interfaces.page.after);
  }
  const Ledger& ledger = sources_.book.ledger();
  for (const auto* each = ledger.interfaceBehind(at); each != nullptr && list.takesMore();
       each = ledger.interfaceBehind(each->name)) {
    Json json{{"name", jsonOf(Qiv::Value(each->name))}};
    json["ifIndex"] = each->ifIndex ? Json(*each->ifIndex) : Json();
    if (each->ifIndex) {
      const bool fromKernel = each->setBy.empty();
      json["source"] = fromKernel ? "kernel" : "feed";
      if (!fromKernel) {
        json["client"] = jsonOf(Qiv::Value(each->setBy));
      }
    }
    list.add(json, each->name.stdString());
  }
  return list.text(okay(), "interfaces");
}

}  // namespace Agent
