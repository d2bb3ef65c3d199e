#pragma once

#include <vector>

#include "norv/Entity.h"

namespace Norv {

class Reactor;

// A collection of nested reactors, known to its parent so that switching notifications and
// zombie marking reach every child.
class NestedCollBase {
public:
   virtual ~NestedCollBase() = default;
   virtual void norvForEachReactor(void (*fn)(Reactor&, bool), bool v) = 0;
};

// Base of every reactor: an entity that watches inputs through notifiees, writes outputs, and
// owns its nested reactors.
class NORV_EXPORT Reactor : public Entity {
public:
   bool initialized() const { return initialized_; }
   // Self-initialising reactors only store the flag; armed reactors override this.
   virtual void initializedIs(bool v) { initialized_ = v; }
   virtual void handleInitialized() {}
   // Undoes what this reactor wrote to the chip; its parent calls it before removing it.
   virtual void doCleanup() {}

   void norvMarkedForDeletionIs(bool v) override;
   bool hasNotificationActive() const { return notificationActive_; }
   void hasNotificationActiveIs(bool v);
   void norvDoZombieReactors(bool v);
   bool norvZombie() const { return norvMarkedForDeletion(); }

   // Framework internals.
   void norvAddNotifiee(NotifieeBase* n) { notifiees_.push_back(n); }
   void norvRemoveNotifiee(NotifieeBase* n);
   void norvAddNested(NestedCollBase* c) { nested_.push_back(c); }

protected:
   Reactor() = default;
   void initializedFlagIs(bool v) { initialized_ = v; }

private:
   bool initialized_ = false;
   bool notificationActive_ = true;
   std::vector<NotifieeBase*> notifiees_;
   std::vector<NestedCollBase*> nested_;
};

// A reactor armed from outside: every change of `initialized` runs handleInitialized(), which
// asserts that the flag is set, so disarming one is a broken invariant.
class ArmedReactor : public Reactor {
public:
   void initializedIs(bool v) override {
      if (v == initialized()) return;
      initializedFlagIs(v);
      handleInitialized();
   }
};

} // namespace Norv
