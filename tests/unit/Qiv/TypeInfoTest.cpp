#include "Qiv/TypeInfo.h"

#include <gtest/gtest.h>

#include <array>

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

TEST(TypeInfo, AnEmptyCollectionHasNoLine) {
  const auto part = make<Part>();
  EXPECT_EQ(dump(*part), "");
  EXPECT_EQ(dump(*make<Thing>("it")).find("counts"), std::string::npos);
}

}  // namespace
}  // namespace Qiv
