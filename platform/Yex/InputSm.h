#pragma once

#include "Qiv/Entity.h"

namespace Yex {

/// Base of the state machines that watch one input collection for a parent.
/// They are made with notifications active; a reactor runs only while they are, and, for a machine
/// that is being deleted, only where zombie reactors are asked for.
class InputSm : public Qiv::Entity {
 public:
  [[nodiscard]] bool reacts() const noexcept {
    return hasNotificationActive() && (!beingDestroyed() || doZombieReactors());
  }

 protected:
  InputSm() { notificationActiveIs(true); }

  /// Marks the machine as being inside a reactor for the length of a scope. Reactors may nest: the
  /// outermost one clears the mark.
  class Reacting {
   public:
    explicit Reacting(InputSm& sm) noexcept : sm_(&sm), outermost_(!sm.inReactor()) {
      sm.inReactorIs(true);
    }
    Reacting(const Reacting&) = delete;
    Reacting& operator=(const Reacting&) = delete;
    ~Reacting() {
      if (outermost_) {
        sm_->inReactorIs(false);
      }
    }

   private:
    Qiv::Ptr<InputSm> sm_;  ///< A reactor may lead to its own machine's deletion.
    bool outermost_;
  };
};

}  // namespace Yex
