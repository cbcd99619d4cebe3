#pragma once

#include "Qiv/HashMap.h"
#include "Qiv/HashSet.h"
#include "Qiv/TypeRegistry.h"

namespace Qiv {

/// An entity with one attribute of each kind that the generic interface knows.
class Thing final : public NamedEntity {
 public:
  static constexpr std::string_view kTypeName = "Test::Thing";
  static inline int alive = 0;

  explicit Thing(Pomel::String name) : NamedEntity(std::move(name)) { ++alive; }
  ~Thing() override { --alive; }
  [[nodiscard]] const TypeInfo& typeInfo() const override { return type(); }

  [[nodiscard]] bool on() const { return on_; }
  bool onIs(bool on) { return on_ = on; }
  void onDel() { on_ = false; }

  [[nodiscard]] Qiv::Ptr<Thing> friendThing() const { return friend_; }
  Qiv::Ptr<Thing> friendThingIs(const Qiv::Ptr<Thing>& other) { return friend_ = other; }
  void friendThingDel() { friend_ = nullptr; }

  [[nodiscard]] std::int32_t balance() const { return -5; }
  [[nodiscard]] std::uint8_t percent() const noexcept { return 200; }
  [[nodiscard]] float ratio() const { return 0.1F; }
  [[nodiscard]] std::string_view raw() const { return {"a\nb\xff", 4}; }

  [[nodiscard]] Pomel::String greet(std::string_view whom) const {
    return name().stdString() + " greets " + std::string(whom);
  }
  std::uint64_t add(std::uint64_t a, const std::uint64_t& b) { return a + b; }
  void forget() { counts_.clear(); }

  using Counts = HashMap<Pomel::String, std::uint32_t>;
  using Friends = HashMap<Pomel::String, Qiv::Ptr<Thing>>;
  [[nodiscard]] const Counts& counts() const { return counts_; }
  [[nodiscard]] const Friends& friends() const { return friends_; }
  [[nodiscard]] const HashSet<Pomel::String>& tags() const { return tags_; }
  Counts counts_;
  Friends friends_;
  HashSet<Pomel::String> tags_;

  static const TypeInfo& type() {
    static const TypeInfo info{
        kTypeName,
        [](const Pomel::String& name) -> Entity::Ptr { return make<Thing>(name); },
        {attribute<&Thing::name>("name"), attribute<&Thing::on, &Thing::onIs, &Thing::onDel>("on"),
         attribute<&Thing::friendThing, &Thing::friendThingIs, &Thing::friendThingDel>("friend"),
         attribute<&Thing::balance>("balance"), attribute<&Thing::percent>("percent"),
         attribute<&Thing::ratio>("ratio"), attribute<&Thing::raw>("raw"),
         collection<&Thing::counts>("counts"), collection<&Thing::friends>("friends"),
         collection<&Thing::tags>("tags"), function<&Thing::greet>("greet"),
         function<&Thing::add>("add"), function<&Thing::forget>("forget")}};
    return info;
  }

 private:
  bool on_ = false;
  Qiv::Ptr<Thing> friend_;
};

/// A type that only its owner makes.
class Part final : public Entity {
 public:
  [[nodiscard]] const TypeInfo& typeInfo() const override { return type(); }
  static const TypeInfo& type() {
    static const TypeInfo info{"Test::Part", nullptr, {}};
    return info;
  }
};

}  // namespace Qiv
