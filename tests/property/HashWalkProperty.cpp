// A walk that stops, remembers a key and goes on from it, while entries come and go between any two
// of its steps.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <map>
#include <optional>
#include <random>

#include "Qiv/HashSet.h"
#include "tests/property/KeysForProperties.h"

namespace Properties {
namespace {

/// How the walk goes on from the key it stands on.
enum class GoOn {
  kAfterCurrent,  // By the key it was at: the first one after it.
  kAtNext,        // By the key that was next when it stopped; that one may be gone by then.
};

template <class Key>
class Walk {
 public:
  Walk(int stable, int fleeting, unsigned seed)
      : stable_(stable), fleeting_(fleeting), random_(seed) {
    for (int number = 0; number < stable_; ++number) {
      set_.insert(Key(number));
    }
  }

  void run(GoOn goOn) {
    churn();
    std::map<int, int> visits;
    std::optional<Key> before;
    auto at = set_.begin();
    while (at != set_.end()) {
      const Key current = *at;
      RC_ASSERT((!before || walkedBefore(*before, current)));
      before = current;
      ++visits[numberOf(current)];
      if (goOn == GoOn::kAfterCurrent) {
        churn();
        at = set_.upperBound(current);
      } else {
        ++at;
        if (at == set_.end()) {
          break;
        }
        const Key bookmark = *at;
        churn();
        at = set_.lowerBound(bookmark);
      }
    }
    for (int number = 0; number < stable_; ++number) {
      RC_ASSERT(visits[number] == 1);
    }
  }

 private:
  /// Puts a run of fleeting keys in or takes one out: enough for the table to grow and shrink.
  void churn() {
    const auto count = random_() % 4 == 0 ? random_() % 200 : random_() % 3;
    const bool in = random_() % 2 == 0;
    for (unsigned long i = 0; i < count; ++i) {
      const Key key(stable_ + static_cast<int>(random_() % static_cast<unsigned>(fleeting_)));
      static_cast<void>(in ? set_.insert(key) : set_.erase(key));
    }
  }
  [[nodiscard]] static int numberOf(const SpreadKey& key) { return key.number; }
  [[nodiscard]] static int numberOf(const CrowdedKey& key) { return key.number; }
  [[nodiscard]] static int numberOf(const ClashingKey& key) { return key.number; }
  [[nodiscard]] static int numberOf(const TextKey& key) {
    return std::stoi(std::string(key.view().substr(4)));
  }

  Qiv::HashSet<Key> set_;
  int stable_;
  int fleeting_;
  std::mt19937 random_;
};

template <class Key>
void missesNothingAndMeetsNothingTwice() {
  const int stable = *rc::gen::inRange(0, 60);
  const int fleeting = *rc::gen::inRange(1, 300);
  const auto seed = *rc::gen::arbitrary<unsigned>();
  for (const GoOn goOn : {GoOn::kAfterCurrent, GoOn::kAtNext}) {
    Walk<Key>(stable, fleeting, seed).run(goOn);
  }
}

RC_GTEST_PROP(HashWalkProperty, MissesNothingAndMeetsNothingTwiceWithAGoodHash, ()) {
  missesNothingAndMeetsNothingTwice<SpreadKey>();
}
RC_GTEST_PROP(HashWalkProperty, MissesNothingAndMeetsNothingTwiceWithThreeHashes, ()) {
  missesNothingAndMeetsNothingTwice<CrowdedKey>();
}
RC_GTEST_PROP(HashWalkProperty, MissesNothingAndMeetsNothingTwiceWithOneHash, ()) {
  missesNothingAndMeetsNothingTwice<ClashingKey>();
}
RC_GTEST_PROP(HashWalkProperty, MissesNothingAndMeetsNothingTwiceWithTexts, ()) {
  missesNothingAndMeetsNothingTwice<TextKey>();
}

}  // namespace
}  // namespace Properties
