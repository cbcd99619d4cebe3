#include "Qiv/TypeInfo.h"

#include <fmt/format.h>

#include "Qiv/Url.h"

namespace Qiv {

namespace {

/// What would break a line of the dump, or is no ASCII.
bool unprintable(char c) { return c < ' ' || c >= '\x7f'; }

std::string lineText(const Value& value) { return quoteUrl(toText(value), &unprintable); }

}  // namespace

std::string toText(const Value& value) {
  struct Visitor {
    std::string operator()(std::monostate) const { return {}; }
    std::string operator()(bool on) const { return on ? "true" : "false"; }
    std::string operator()(std::int64_t number) const { return std::to_string(number); }
    std::string operator()(std::uint64_t number) const { return std::to_string(number); }
    std::string operator()(double number) const {
      return fmt::format("{}", static_cast<float>(number));
    }
    std::string operator()(const Pomel::String& text) const { return text.stdString(); }
    std::string operator()(const Ptr<Entity>& entity) const {
      return entity ? std::string(entity->typeInfo().name()) : "null";
    }
  };
  return std::visit(Visitor{}, value);
}

const Attribute& TypeInfo::attribute(std::string_view wanted) const {
  for (const Attribute& candidate : attributes_) {
    if (candidate.name == wanted) {
      return candidate;
    }
  }
  throw InspectionError(fmt::format("{} has no attribute '{}'", name_, wanted));
}

Value attributeGet(const Entity& entity, std::string_view attribute) {
  const Attribute& found = entity.typeInfo().attribute(attribute);
  if (found.get == nullptr) {
    throw InspectionError(
        fmt::format("{}.{} is not a single value", entity.typeInfo().name(), attribute));
  }
  return found.get(entity);
}

Value attributeCall(Entity& entity, std::string_view attribute, std::span<const Value> arguments) {
  const Attribute& found = entity.typeInfo().attribute(attribute);
  if (found.call == nullptr) {
    throw InspectionError(fmt::format("{}.{} takes no call", entity.typeInfo().name(), attribute));
  }
  return found.call(entity, arguments);
}

void attributeDel(Entity& entity, std::string_view attribute) {
  const Attribute& found = entity.typeInfo().attribute(attribute);
  if (found.del == nullptr) {
    throw InspectionError(
        fmt::format("{}.{} cannot be deleted", entity.typeInfo().name(), attribute));
  }
  found.del(entity);
}

std::string dump(const Entity& entity) {
  std::string text;
  for (const Attribute& attribute : entity.typeInfo().attributes()) {
    if (attribute.get != nullptr) {
      text += fmt::format("{} = {}\n", attribute.name, lineText(attribute.get(entity)));
    } else if (attribute.forEach != nullptr) {
      attribute.forEach(entity, [&](const Value& key, const Value& value) {
        text += fmt::format("{}[ {} ]", attribute.name, lineText(key));
        if (!std::holds_alternative<std::monostate>(value)) {
          text += fmt::format(" = {}", lineText(value));
        }
        text += '\n';
      });
    } else {
      text += fmt::format("{}()\n", attribute.name);
    }
  }
  return text;
}

}  // namespace Qiv
