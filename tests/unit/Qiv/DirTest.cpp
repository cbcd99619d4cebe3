#include "Qiv/Dir.h"

#include <gtest/gtest.h>

#include <set>

#include "ThingForTest.h"

namespace Qiv {
namespace {

struct Watcher {
  explicit Watcher(const Dir& watched) : dir(watched) {}
  void handle(const Pomel::String& name) {
    told.insert(name.stdString() + (dir.entityPtr(name) ? " in" : " out"));
    dying = dying || dir.beingDestroyed();
  }
  const Dir& dir;
  std::multiset<std::string> told;
  bool dying = false;
  Subscription<&Watcher::handle, Pomel::String> subscription{*this, dir.entityPtr().changes()};
};

TEST(Dir, HoldsEntitiesByName) {
  const auto dir = make<Dir>("root");
  const auto thing = make<Thing>("it");
  EXPECT_EQ(dir->entityPtr("it"), nullptr);
  dir->entityIs("it", thing);
  EXPECT_EQ(dir->entityPtr("it"), thing);
  EXPECT_EQ(dir->entityPtr().size(), 1U);
  dir->entityDel("it");
  dir->entityDel("it");
  EXPECT_EQ(dir->entityPtr("it"), nullptr);
  EXPECT_EQ(thing->refs(), 1U);
}

TEST(Dir, PublishesEveryEntryByName) {
  const auto dir = make<Dir>("root");
  const Watcher watcher(*dir);
  dir->entityIs("a", make<Thing>("a"));
  dir->entityIs("a", make<Thing>("a"));
  dir->entityDel("a");
  EXPECT_EQ(watcher.told, (std::multiset<std::string>{"a in", "a in", "a out"}));
}

TEST(Dir, ADyingDirectoryPublishesEveryDeletionAndSaysThatItIsDying) {
  auto dir = make<Dir>("root");
  dir->entityIs("a", make<Thing>("a"));
  dir->entityIs("b", make<Thing>("b"));
  const Watcher watcher(*dir);
  dir = nullptr;
  EXPECT_EQ(watcher.told, (std::multiset<std::string>{"a out", "b out"}));
  EXPECT_TRUE(watcher.dying);
}

TEST(Dir, AnEntityIsMadeByTheNameOfItsTypeOnce) {
  const TypeRegistration registration{Thing::type()};
  const auto dir = make<Dir>("root");
  const Entity::Ptr made = dir->entityIs("it", Thing::kTypeName);
  EXPECT_EQ(ptrCast<Thing>(made)->name(), "it");
  EXPECT_EQ(dir->entityIs("it", Thing::kTypeName), made);
  EXPECT_EQ(dir->entityPtr().version(), 1U);
}

TEST(Dir, AnEntityOfAnotherTypeIsReplaced) {
  const TypeRegistration registration{Thing::type()};
  const auto dir = make<Dir>("root");
  dir->entityIs("it", make<Part>());
  const Entity::Ptr made = dir->entityIs("it", Thing::kTypeName);
  EXPECT_NE(ptrCast<Thing>(made), nullptr);
  EXPECT_EQ(dir->entityPtr("it"), made);
}

TEST(Dir, ARefusedTypeLeavesWhatWasThere) {
  const auto dir = make<Dir>("root");
  const auto part = make<Part>();
  dir->entityIs("it", part);
  EXPECT_THROW(dir->entityIs("it", "Test::Nothing"), InspectionError);
  EXPECT_EQ(dir->entityPtr("it"), part);
  EXPECT_EQ(dir->entityPtr().version(), 1U);
}

TEST(Dir, ADirectoryIsMadeOnceAndNeverInPlaceOfSomethingElse) {
  const auto root = make<Dir>("root");
  const Dir::Ptr made = root->dirIs("sub");
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->name(), "sub");
  EXPECT_EQ(root->dirIs("sub"), made);
  root->entityIs("thing", make<Thing>("thing"));
  EXPECT_EQ(root->dirIs("thing"), nullptr);
}

TEST(Dir, APathLeadsToItsEntity) {
  const auto root = make<Dir>("root");
  const Dir::Ptr mib = dirAt(root, "snmp/connectivityMonitor/conMonMib");
  ASSERT_NE(mib, nullptr);
  EXPECT_EQ(mib->name(), "conMonMib");
  const auto thing = make<Thing>("default");
  mib->entityIs("default", thing);
  EXPECT_EQ(entityAt(*root, "snmp/connectivityMonitor/conMonMib"), mib);
  EXPECT_EQ(entityAt(*root, "snmp/connectivityMonitor/conMonMib/default"), thing);
  EXPECT_EQ(dirAt(root, "snmp/connectivityMonitor/conMonMib"), mib);
  EXPECT_EQ(dirAt(root, ""), root);
}

TEST(Dir, NamesInAPathAreQuoted) {
  const auto root = make<Dir>("root");
  const auto thing = make<Thing>("it");
  dirAt(root, "a%2Fb")->entityIs("100%", thing);
  EXPECT_NE(root->entityPtr("a/b"), nullptr);
  EXPECT_EQ(entityAt(*root, "a%2Fb/100%25"), thing);
  EXPECT_EQ(entityAt(*root, "a/b/100%25"), nullptr);
}

TEST(Dir, APathThatLeadsNowhereIsNull) {
  const auto root = make<Dir>("root");
  dirAt(root, "a")->entityIs("thing", make<Thing>("thing"));
  for (const char* path :
       {"", "/", "/a", "b", "a/b", "a//thing", "a/thing/x", "a/%2", "a/", "a/thing/"}) {
    EXPECT_EQ(entityAt(*root, path), nullptr) << '\'' << path << '\'';
  }
  EXPECT_EQ(dirAt(root, "a/thing"), nullptr);
  EXPECT_EQ(dirAt(root, "a/thing/x"), nullptr);
  EXPECT_EQ(dirAt(root, "a//x"), nullptr);
  EXPECT_EQ(dirAt(root, "a/"), nullptr);
  EXPECT_EQ(dirAt(root, "%2"), nullptr);
}

}  // namespace
}  // namespace Qiv
