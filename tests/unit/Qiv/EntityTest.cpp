#include "Qiv/Entity.h"

#include <gtest/gtest.h>

#include "ThingForTest.h"

namespace Qiv {
namespace {

TEST(Entity, AllFlagsBeginOff) {
  const auto part = make<Part>();
  EXPECT_FALSE(part->beingDestroyed());
  EXPECT_FALSE(part->hasNotificationActive());
  EXPECT_FALSE(part->doZombieReactors());
  EXPECT_FALSE(part->inReactor());
}

TEST(Entity, EachFlagIsItsOwn) {
  const auto part = make<Part>();
  part->inReactorIs(true);
  EXPECT_TRUE(part->inReactor());
  EXPECT_FALSE(part->doZombieReactors());
  part->qivDoZombieReactors(true);
  part->inReactorIs(false);
  EXPECT_TRUE(part->doZombieReactors());
  EXPECT_FALSE(part->inReactor());
  EXPECT_FALSE(part->beingDestroyed());
}

TEST(Entity, AttributesWithoutKeysArePublishedByName) {
  struct Reader {
    void handle(const std::string_view& attribute) { told.emplace_back(attribute); }
    std::vector<std::string> told;
  } reader;
  const auto part = make<Part>();
  const Subscription<&Reader::handle, std::string_view> subscription{reader, part->changes()};
  part->changes().publish("idle");
  EXPECT_EQ(reader.told, std::vector<std::string>{"idle"});
}

TEST(Entity, TheSingletonOfATypeIsMadeAtItsFirstUseAndShared) {
  const TypeRegistration registration{Thing::type()};
  EXPECT_FALSE(Entity::singletonExists(Thing::kTypeName));
  const Entity::Ptr first = Entity::singletonIs(Thing::kTypeName);
  EXPECT_TRUE(Entity::singletonExists(Thing::kTypeName));
  EXPECT_EQ(Entity::singletonIs(Thing::kTypeName), first);
  EXPECT_EQ(ptrCast<Thing>(first)->name().view(), Thing::kTypeName);
  Entity::singletonDel(Thing::kTypeName);
  EXPECT_FALSE(Entity::singletonExists(Thing::kTypeName));
  EXPECT_EQ(first->refs(), 1U);
  EXPECT_NE(Entity::singletonIs(Thing::kTypeName), first);
}

TEST(Entity, DeletingAnAbsentSingletonIsSilent) {
  Entity::singletonDel("Test::Nothing");
  EXPECT_FALSE(Entity::singletonExists("Test::Nothing"));
}

TEST(Entity, AnUnknownTypeHasNoSingleton) {
  EXPECT_THROW(Entity::singletonIs("Test::Nothing"), InspectionError);
  EXPECT_FALSE(Entity::singletonExists("Test::Nothing"));
}

TEST(Entity, ASingletonGoesWhenItsTypeIsWithdrawn) {
  const int before = Thing::alive;
  {
    const TypeRegistration registration{Thing::type()};
    Entity::singletonIs(Thing::kTypeName);
    EXPECT_EQ(Thing::alive, before + 1);
  }
  EXPECT_EQ(Thing::alive, before);
  EXPECT_FALSE(Entity::singletonExists(Thing::kTypeName));
}

}  // namespace
}  // namespace Qiv
