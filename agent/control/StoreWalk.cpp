#include "agent/control/StoreWalk.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "Qiv/Url.h"
#include "agent/Quote.h"

namespace Agent {

namespace {

/// The shortest number that is this one as the 32-bit float it was made from.
Json jsonOf(double number) {
  if (!std::isfinite(number)) {
    return Json();
  }
  return Json(std::stod(fmt::format("{}", static_cast<float>(number))));
}

std::string unquoted(std::string_view name) {
  auto text = Qiv::unquoteUrl(name);
  if (!text) {
    throw Qiv::InspectionError(fmt::format("{} has a % without two digits", quote(name)));
  }
  return *std::move(text);
}

const Qiv::Attribute* attributeNamed(const Qiv::Entity& entity, std::string_view name) {
  for (const Qiv::Attribute& attribute : entity.typeInfo().attributes()) {
    if (attribute.name == name) {
      return &attribute;
    }
  }
  return nullptr;
}

Place placeOf(Qiv::Value value) {
  if (const auto* entity = std::get_if<Qiv::Entity::Ptr>(&value); entity != nullptr && *entity) {
    // It is a pointer that is returned, not whether it is one.
    return *entity;  // cppcheck-suppress identicalInnerCondition
  }
  return value;
}

Place below(const Qiv::Entity::Ptr& entity, std::string_view name) {
  if (const auto dir = Qiv::ptrCast<Qiv::Dir>(entity)) {
    if (const Qiv::Entity::Ptr child = dir->entityPtr(Pomel::String(unquoted(name)))) {
      return child;
    }
  }
  const Qiv::Attribute* attribute = attributeNamed(*entity, unquoted(name));
  if (attribute != nullptr && attribute->get != nullptr) {
    return placeOf(attribute->get(*entity));
  }
  if (attribute != nullptr && attribute->forEachFrom != nullptr) {
    return CollectionPlace{entity, attribute};
  }
  throw Qiv::InspectionError(fmt::format("{} has no {}", entity->typeInfo().name(), quote(name)));
}

Place below(const CollectionPlace& place, std::string_view name) {
  auto value = elementIn(place, name);
  if (!value) {
    throw Qiv::InspectionError(fmt::format("{} has no {}", place.attribute->name, quote(name)));
  }
  return placeOf(*std::move(value));
}

Place below(const Qiv::Value& /*value*/, std::string_view name) {
  throw Qiv::InspectionError(fmt::format("a value has no {}", quote(name)));
}

}  // namespace

Place placeAt(const Qiv::Entity::Ptr& root, std::string_view path) {
  Place place = root;
  if (path.empty()) {
    return place;
  }
  while (true) {
    const std::size_t slash = path.find('/');
    const std::string_view name = path.substr(0, slash);
    place = std::visit([&](const auto& at) { return below(at, name); }, place);
    if (slash == std::string_view::npos) {
      return place;
    }
    path.remove_prefix(slash + 1);
  }
}

CollectionPlace collectionOf(const Qiv::Entity::Ptr& owner, std::string_view attribute) {
  const Qiv::Attribute& found = owner->typeInfo().attribute(attribute);
  if (found.forEachFrom == nullptr) {
    throw Qiv::InspectionError(fmt::format("{} is no collection", attribute));
  }
  return {owner, &found};
}

Qiv::Entity::Ptr entityIn(const Qiv::Entity::Ptr& owner, std::string_view attribute) {
  if (!owner) {
    return nullptr;
  }
  const Qiv::Value value = Qiv::attributeGet(*owner, attribute);
  const auto* entity = std::get_if<Qiv::Entity::Ptr>(&value);
  return entity == nullptr ? nullptr : *entity;
}

Json jsonOf(const Qiv::Value& value) {
  struct Visitor {
    Json operator()(std::monostate) const { return Json(); }
    Json operator()(bool on) const { return Json(on); }
    Json operator()(std::int64_t number) const { return Json(number); }
    Json operator()(std::uint64_t number) const { return Json(number); }
    Json operator()(double number) const { return jsonOf(number); }
    Json operator()(const Pomel::String& text) const { return Json(text.stdString()); }
    Json operator()(const Qiv::Entity::Ptr& entity) const {
      return entity ? Json{{"type", std::string(entity->typeInfo().name())}} : Json();
    }
  };
  return std::visit(Visitor{}, value);
}

std::string pathName(const Qiv::Value& key) {
  return Qiv::quoteUrl(Qiv::toText(key), &Qiv::reservedInName);
}

bool listElements(const CollectionPlace& place, const std::optional<std::string>& behind,
                  ListAnswer& list, const ItemOf& item, std::string_view bookmarkPrefix) {
  bool whole = true;
  std::optional<std::string> from;
  if (behind) {
    from = unquoted(*behind);
  }
  place.attribute->forEachFrom(
      *place.owner, from, [&](const Qiv::Value& key, const Qiv::Value& value) {
        if (from && Qiv::toText(key) == *from) {
          return true;
        }
        const std::string name = pathName(key);
        whole = list.takesMore();
        if (whole) {
          list.add(item(name, value), fmt::format("{}{}", bookmarkPrefix, name));
        }
        return whole;
      });
  return whole;
}

std::optional<Qiv::Value> elementIn(const CollectionPlace& place, std::string_view name) {
  std::optional<Qiv::Value> found;
  const std::string text = unquoted(name);
  place.attribute->forEachFrom(*place.owner, text,
                               [&](const Qiv::Value& key, const Qiv::Value& value) {
                                 if (Qiv::toText(key) == text) {
                                   found = value;
                                 }
                                 return false;
                               });
  return found;
}

}  // namespace Agent
