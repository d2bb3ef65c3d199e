#include "norv/Entity.h"

#include <algorithm>

#include "norv/Reactor.h"

namespace Norv {

const Type& Entity::fwkType() const {
   static constexpr Type t("Norv::Entity");
   return t;
}

namespace {
std::vector<const Entity*>& deferred() {
   static std::vector<const Entity*> list;
   return list;
}
// Entities whose notifiee lists have holes, to compact when the outermost delivery ends.
std::vector<const Entity*>& holed() {
   static std::vector<const Entity*> list;
   return list;
}
} // namespace

Entity::~Entity() {
   // Only an entity that is not counted (a member or a local) can end during a delivery.
   if (holes_) std::erase(holed(), this);
}

void Entity::norvLastReferenceGone() const {
   if (detail::deliveryDepth == 0) {
      delete this;
   } else {
      detail::deferDestruction(this);
   }
}

namespace detail {

void deferDestruction(const Entity* e) {
   deferred().push_back(e);
   endWorkPending = true;
}

void deliveryEnded() {
   endWorkPending = false;
   // Holes first: the entities holding them may be among those about to go.
   for (const Entity* e : holed())
      e->compactNotifiees();
   holed().clear();
   // Destructors may release more entities; with no delivery under way they go at once.
   auto list = std::move(deferred());
   deferred().clear();
   for (const Entity* e : list)
      delete e;
}

} // namespace detail

size_t Entity::notifieeCount() const {
   return live_;
}

void Entity::norvAttach(NotifieeBase* n) const {
   notifiees_.push_back(n);
   ++live_;
   norvSoleRecompute();
}

void Entity::norvSoleRecompute() const {
   sole_ = nullptr;
   if (live_ != 1) return;
   for (NotifieeBase* n : notifiees_) {
      if (n) {
         if (n->norvDeliverable()) sole_ = n;
         return;
      }
   }
}

void Entity::norvDetach(NotifieeBase* n) const {
   auto it = std::find(notifiees_.begin(), notifiees_.end(), n);
   if (it == notifiees_.end()) return;
   if (detail::deliveryDepth) {
      // A delivery loop may be walking the list: leave a hole and compact afterwards.
      *it = nullptr;
      if (!holes_) {
         holes_ = true;
         holed().push_back(this);
         detail::endWorkPending = true;
      }
   } else {
      notifiees_.erase(it);
   }
   --live_;
   norvSoleRecompute();
}

void Entity::compactNotifiees() const {
   std::erase(notifiees_, nullptr);
   holes_ = false;
}

NotifieeBase::NotifieeBase(Reactor* reactor, Ptr<const Entity> notifier)
    : reactor_(reactor), notifier_(std::move(notifier)) {
   if (reactor_) reactor_->norvAddNotifiee(this);
   if (notifier_) notifier_->norvAttach(this);
   norvRefresh();
}

NotifieeBase::~NotifieeBase() {
   if (notifier_) notifier_->norvDetach(this);
   if (reactor_) reactor_->norvRemoveNotifiee(this);
}

void NotifieeBase::norvRefresh() {
   deliverable_ =
       active_ && (!reactor_ || (!reactor_->norvZombie() && reactor_->hasNotificationActive()));
   if (notifier_) notifier_->norvSoleRecompute();
}

void NotifieeBase::rebind(Ptr<const Entity> notifier) {
   if (notifier.ptr() == notifier_.ptr()) return;
   if (notifier_) notifier_->norvDetach(this);
   notifier_ = std::move(notifier);
   if (!notifier_) return;
   notifier_->norvAttach(this);
   if (norvDeliverable()) norvImmediateAll();
}

void NotifieeBase::norvImmediateAll() {
   detail::DeliveryScope scope;
   for (auto hook : immediates_) {
      if (!notifier_ || !norvDeliverable()) return;
      hook(this);
   }
}

void Reactor::norvMarkedForDeletionIs(bool v) {
   Entity::norvMarkedForDeletionIs(v);
   for (auto* n : notifiees_)
      n->norvRefresh();
}

void Reactor::hasNotificationActiveIs(bool v) {
   if (v == notificationActive_) return;
   notificationActive_ = v;
   for (auto* n : notifiees_)
      n->notificationActiveIs(v);
   for (auto* c : nested_) {
      c->norvForEachReactor([](Reactor& r, bool on) { r.hasNotificationActiveIs(on); }, v);
   }
}

void Reactor::norvDoZombieReactors(bool v) {
   if (v == norvMarkedForDeletion()) return;
   norvMarkedForDeletionIs(v);
   for (auto* c : nested_) {
      c->norvForEachReactor([](Reactor& r, bool z) { r.norvDoZombieReactors(z); }, v);
   }
}

void Reactor::norvRemoveNotifiee(NotifieeBase* n) {
   std::erase(notifiees_, n);
}

} // namespace Norv
