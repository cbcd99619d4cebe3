#include "Qiv/TypeInfo.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>

#include "ThingForTest.h"

namespace Qiv {
namespace {

template <class Call>
std::string refusal(Call call) {
  try {
    call();
  } catch (const InspectionError& error) {
    return error.what();
  }
  return "no error";
}

TEST(TypeInfo, AttributesKeepTheirOrder) {
  std::vector<std::string_view> names;
  for (const Attribute& attribute : Thing::type().attributes()) {
    names.push_back(attribute.name);
  }
  EXPECT_EQ(names, (std::vector<std::string_view>{"name", "on", "friend", "balance", "percent",
                                                  "ratio", "raw", "counts", "friends", "tags",
                                                  "greet", "add", "forget"}));
}

TEST(TypeInfo, AValueAttributeIsReadByName) {
  const auto thing = make<Thing>("it");
  EXPECT_EQ(attributeGet(*thing, "name"), Value(Pomel::String("it")));
  EXPECT_EQ(attributeGet(*thing, "on"), Value(false));
  EXPECT_EQ(attributeGet(*thing, "balance"), Value(std::int64_t{-5}));
  EXPECT_EQ(attributeGet(*thing, "percent"), Value(std::uint64_t{200}));
  EXPECT_EQ(attributeGet(*thing, "ratio"), Value(static_cast<double>(0.1F)));
  EXPECT_EQ(attributeGet(*thing, "friend"), Value(Ptr<Entity>()));
}

TEST(TypeInfo, AnAttributeIsSetAndDeletedByName) {
  const auto thing = make<Thing>("it");
  const std::array<Value, 1> on = {true};
  EXPECT_EQ(attributeCall(*thing, "on", on), Value(true));
  EXPECT_TRUE(thing->on());
  attributeDel(*thing, "on");
  EXPECT_FALSE(thing->on());
}

TEST(TypeInfo, AnEntityIsPassedByItsType) {
  const auto thing = make<Thing>("it");
  const auto other = make<Thing>("other");
  const std::array<Value, 1> arguments = {Ptr<Entity>(other)};
  EXPECT_EQ(attributeCall(*thing, "friend", arguments), Value(Ptr<Entity>(other)));
  EXPECT_EQ(thing->friendThing(), other);
  const std::array<Value, 1> none = {Ptr<Entity>()};
  attributeCall(*thing, "friend", none);
  EXPECT_EQ(thing->friendThing(), nullptr);
}

TEST(TypeInfo, AFunctionAttributeIsCalledByName) {
  const auto thing = make<Thing>("it");
  const std::array<Value, 1> whom = {Pomel::String("you")};
  EXPECT_EQ(attributeCall(*thing, "greet", whom), Value(Pomel::String("it greets you")));
  const std::array<Value, 2> numbers = {std::uint64_t{40}, std::uint64_t{2}};
  EXPECT_EQ(attributeCall(*thing, "add", numbers), Value(std::uint64_t{42}));
}

TEST(TypeInfo, AFunctionWithoutAResultGivesNothing) {
  const auto thing = make<Thing>("it");
  thing->counts_.set("a", 1);
  EXPECT_EQ(attributeCall(*thing, "forget", {}), Value());
  EXPECT_TRUE(thing->counts().empty());
}

TEST(TypeInfo, WhatATypeDoesNotOfferIsRefusedInWords) {
  const auto thing = make<Thing>("it");
  EXPECT_EQ(refusal([&] { static_cast<void>(attributeGet(*thing, "colour")); }),
            "Test::Thing has no attribute 'colour'");
  EXPECT_EQ(refusal([&] { static_cast<void>(attributeGet(*thing, "counts")); }),
            "Test::Thing.counts is not a single value");
  EXPECT_EQ(refusal([&] { static_cast<void>(attributeGet(*thing, "greet")); }),
            "Test::Thing.greet is not a single value");
  EXPECT_EQ(refusal([&] { attributeCall(*thing, "name", {}); }), "Test::Thing.name takes no call");
  EXPECT_EQ(refusal([&] { attributeDel(*thing, "name"); }), "Test::Thing.name cannot be deleted");
  EXPECT_EQ(refusal([&] { attributeDel(*thing, "colour"); }),
            "Test::Thing has no attribute 'colour'");
}

TEST(TypeInfo, ArgumentsThatDoNotFitAreRefusedAndChangeNothing) {
  const auto thing = make<Thing>("it");
  const std::array<Value, 1> number = {std::uint64_t{1}};
  const std::array<Value, 2> two = {true, true};
  const std::array<Value, 1> part = {Ptr<Entity>(make<Part>())};
  const std::array<Value, 1> on = {true};
  EXPECT_EQ(refusal([&] { attributeCall(*thing, "on", {}); }), "wrong number of arguments");
  EXPECT_EQ(refusal([&] { attributeCall(*thing, "on", two); }), "wrong number of arguments");
  EXPECT_EQ(refusal([&] { attributeCall(*thing, "on", number); }), "argument is of another type");
  EXPECT_EQ(refusal([&] { attributeCall(*thing, "greet", number); }), "argument is not a string");
  EXPECT_EQ(refusal([&] { attributeCall(*thing, "friend", on); }), "argument is not an entity");
  EXPECT_EQ(refusal([&] { attributeCall(*thing, "friend", part); }),
            "argument is an entity of another type");
  EXPECT_FALSE(thing->on());
  EXPECT_EQ(thing->friendThing(), nullptr);
}

TEST(TypeInfo, ValuesHaveTexts) {
  EXPECT_EQ(toText(Value()), "");
  EXPECT_EQ(toText(true), "true");
  EXPECT_EQ(toText(false), "false");
  EXPECT_EQ(toText(std::int64_t{-5}), "-5");
  EXPECT_EQ(toText(std::uint64_t{18'446'744'073'709'551'615U}), "18446744073709551615");
  EXPECT_EQ(toText(static_cast<double>(0.1F)), "0.1");
  EXPECT_EQ(toText(Pomel::String("a\nb")), "a\nb");
  EXPECT_EQ(toText(Ptr<Entity>()), "null");
  EXPECT_EQ(toText(Ptr<Entity>(make<Part>())), "Test::Part");
}

TEST(TypeInfo, ADumpHasALineForEveryAttributeAndElementInOrder) {
  const auto thing = make<Thing>("it");
  thing->counts_.set("seven", 7);
  thing->friends_.set("part\r", make<Thing>("friend"));
  thing->friends_.set("part\r", nullptr);
  thing->tags_.insert("blue");
  const std::array<Value, 1> self = {Ptr<Entity>(make<Thing>("other"))};
  attributeCall(*thing, "friend", self);
  EXPECT_EQ(dump(*thing),
            "name = it\n"
            "on = false\n"
            "friend = Test::Thing\n"
            "balance = -5\n"
            "percent = 200\n"
            "ratio = 0.1\n"
            "raw = a%0Ab%FF\n"
            "counts[ seven ] = 7\n"
            "friends[ part%0D ] = null\n"
            "tags[ blue ]\n"
            "greet()\n"
            "add()\n"
            "forget()\n");
}

/// The keys that a collection gives from the one with this text on, at most three.
std::string keysFrom(const Thing& thing, std::string_view attribute,
                     std::optional<std::string_view> key) {
  std::string keys;
  int left = 3;
  Thing::type().attribute(attribute).forEachFrom(thing, key, [&](const Value& at, const Value&) {
    keys += toText(at) + ' ';
    return --left > 0;
  });
  return keys;
}

TEST(TypeInfo, ACollectionTellsItsSize) {
  const auto thing = make<Thing>("it");
  const Attribute& counts = Thing::type().attribute("counts");
  EXPECT_EQ(counts.size(*thing), 0U);
  thing->counts_.set("a", 1);
  thing->counts_.set("b", 2);
  EXPECT_EQ(counts.size(*thing), 2U);
  EXPECT_EQ(Thing::type().attribute("name").size, nullptr);
}

TEST(TypeInfo, ACollectionIsReadInPiecesThatMeetEveryElementOnce) {
  const auto thing = make<Thing>("it");
  for (const char* name : {"a", "b", "c", "d", "e", "f", "g"}) {
    thing->counts_.set(name, 1);
    thing->tags_.insert(name);
  }
  std::string whole;
  for (const auto& entry : thing->counts()) {
    whole += entry.key.stdString() + ' ';
  }
  // A piece begins with the last of the piece before.
  const std::string first = keysFrom(*thing, "counts", std::nullopt);
  const std::string second = keysFrom(*thing, "counts", first.substr(4, 1));
  const std::string third = keysFrom(*thing, "counts", second.substr(4, 1));
  EXPECT_EQ(first + second.substr(2) + third.substr(2), whole);
  EXPECT_EQ(keysFrom(*thing, "tags", std::nullopt), first);
}

TEST(TypeInfo, APieceBeginsBehindAnElementThatIsGone) {
  const auto thing = make<Thing>("it");
  for (const char* name : {"a", "b", "c"}) {
    thing->counts_.set(name, 1);
  }
  const std::string before = keysFrom(*thing, "counts", std::nullopt);
  const std::string middle = before.substr(2, 1);
  thing->counts_.erase(middle);
  EXPECT_EQ(keysFrom(*thing, "counts", middle), before.substr(4));
}

TEST(TypeInfo, AnEmptyCollectionHasNoLine) {
  const auto part = make<Part>();
  EXPECT_EQ(dump(*part), "");
  EXPECT_EQ(dump(*make<Thing>("it")).find("counts"), std::string::npos);
}

}  // namespace
}  // namespace Qiv
