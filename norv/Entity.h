#pragma once

#include <cstdint>
#include <type_traits>
#include <vector>

#include "norv/Export.h"
#include "norv/Ptr.h"
#include "norv/Type.h"

namespace Norv {

class NotifieeBase;
class Reactor;

namespace detail {
// Depth of open NotificationBatch scopes; read on every notification, so kept inline. Exported,
// as the delivery depth below: a program and the library it links must see one counter, not
// one each.
NORV_EXPORT inline unsigned batchDepth = 0;
inline bool batchOpen() {
   return batchDepth > 0;
}
// Set while a closed batch hands out what it deferred: a handler then runs before other
// notifiees have heard of changes that came later in the batch, so what they cache may be
// stale.
NORV_EXPORT inline unsigned batchDeliveries = 0;
inline bool batchDelivering() {
   return batchDeliveries > 0;
}
NORV_EXPORT void deliveryEnded();
} // namespace detail

// An entity: a counted object with a run-time type, typed attributes and notifiees that are
// told of every change of its attributes.
class NORV_EXPORT Entity : public RefCounted {
public:
   Entity() = default;
   Entity(const Entity&) = delete;
   Entity& operator=(const Entity&) = delete;

   virtual const Type& fwkType() const;

   bool norvMarkedForDeletion() const { return markedForDeletion_; }
   virtual void norvMarkedForDeletionIs(bool v) { markedForDeletion_ = v; }

   size_t notifieeCount() const;

   // Framework internals: notifiee registration and delivery.
   void norvAttach(NotifieeBase* n) const;
   // Recomputes the sole receiver after the notifiees or their deliverable state changed.
   void norvSoleRecompute() const;
   void norvDetach(NotifieeBase* n) const;

   // Calls `call(notifiee)` on every notifiee that may receive, in registration order.
   template <class N, class F>
   void norvDeliver(F&& call) const;

   // A change of a keyed member: delivered now, or recorded by an open batch.
   // `fn` is a captureless lambda calling the notifiee's handler: known at compile time, so the
   // delivery loop calls the handler directly. The common case, one watcher and no batch, is
   // inlined into the mutator; the rest is not.
   template <class N, class K, class F>
   [[gnu::always_inline]] void norvNotifyKey(const char* attr, const K& key, F fn) const;
   // A change of a scalar attribute.
   template <class N, class F>
   [[gnu::always_inline]] void norvNotify(const char* attr, F fn) const;

protected:
   ~Entity() override;
   void norvLastReferenceGone() const override;
   friend void detail::deliveryEnded();

private:
   // The one watcher, if it may receive now and nothing defers delivery.
   NotifieeBase* norvSoleReceiver() const {
      return sole_ && !detail::batchOpen() ? sole_ : nullptr;
   }
   // Instantiated in every library or program that changes entities, each for itself: the
   // exported class does not export them.
   template <class N, class K, class F>
   [[gnu::noinline, gnu::visibility("hidden")]] void
   norvNotifyKeyRest(const char* attr, const K& key, F fn) const;
   template <class N, class F>
   [[gnu::noinline, gnu::visibility("hidden")]] void norvNotifyRest(const char* attr,
                                                                    F fn) const;
   void compactNotifiees() const;

   bool markedForDeletion_ = false;
   // Set while notifiees_ holds null holes left by notifiees that went during a delivery; they
   // are compacted when the outermost delivery ends.
   mutable bool holes_ = false;
   mutable std::vector<NotifieeBase*> notifiees_;
   // The only notifiee, when there is exactly one and it is deliverable: the common case,
   // answered by one load on every change.
   mutable NotifieeBase* sole_ = nullptr;
   mutable uint32_t live_ = 0; // notifiees_ less its holes
};

// Base of every notifiee: bound to one notifier entity, owned by a reactor (or by nothing).
class NORV_EXPORT NotifieeBase {
public:
   NotifieeBase(Reactor* reactor, Ptr<const Entity> notifier);
   NotifieeBase(const NotifieeBase&) = delete;
   NotifieeBase& operator=(const NotifieeBase&) = delete;
   virtual ~NotifieeBase();

   Reactor* reactor() const { return reactor_; }
   bool notificationActive() const { return active_; }
   void notificationActiveIs(bool v) {
      active_ = v;
      norvRefresh();
   }
   // True when a notification may reach this notifiee now: switched on, and its reactor (if
   // any) neither a zombie nor switched off. Cached, because it is read on every delivery.
   bool norvDeliverable() const { return deliverable_; }
   // Recomputes the cached state after the notifiee or its reactor changed.
   void norvRefresh();

   // Calls every whole-attribute (immediate) notification of the notifier type.
   void norvImmediateAll();
   void norvAddImmediate(void (*hook)(NotifieeBase*)) { immediates_.push_back(hook); }

protected:
   const Entity* notifierEntity() const { return notifier_.ptr(); }
   // Binding at construction sends nothing; rebinding to another entity sends the
   // whole-attribute notifications so the reactor re-reads its new input.
   void rebind(Ptr<const Entity> notifier);

private:
   Reactor* reactor_;
   Ptr<const Entity> notifier_;
   bool active_ = true;
   bool deliverable_ = true;
   std::vector<void (*)(NotifieeBase*)> immediates_;
};

// The typed notifiee of entity E; `Base` is the notifiee of E's base entity, if any.
template <class E, class Base = NotifieeBase>
class NotifieeOf : public Base {
public:
   explicit NotifieeOf(Reactor* reactor = nullptr, Ptr<const E> notifier = nullptr)
       : Base(reactor, notifier) {}
   Ptr<const E> notifier() const {
      return Ptr<const E>(static_cast<const E*>(this->notifierEntity()));
   }
   void notifierIs(Ptr<const E> n) { this->rebind(n); }
};

// Registers one whole-attribute notification of a notifiee at construction.
struct ImmediateHook {
   ImmediateHook(NotifieeBase* n, void (*hook)(NotifieeBase*)) { n->norvAddImmediate(hook); }
};

namespace detail {

class PendingNotification;
NORV_EXPORT void batchRecord(PendingNotification* p);

class PendingNotification {
public:
   PendingNotification(const Entity* e, const char* attr) : entity_(e), attr_(attr) {}
   virtual ~PendingNotification() = default;
   virtual void deliver() const = 0;
   virtual bool sameKeyAs(const PendingNotification& o) const = 0;
   virtual size_t keyHash() const = 0;
   const Entity* entity() const { return entity_.ptr(); }
   const char* attr() const { return attr_; }

protected:
   Ptr<const Entity> entity_;
   const char* attr_;
};

size_t keyHashOf(const void* p, size_t size);

template <class N, class K>
class PendingKey : public PendingNotification {
public:
   PendingKey(const Entity* e, const char* attr, const K& key, void (*fn)(N&, const K&))
       : PendingNotification(e, attr), key_(key), fn_(fn) {}
   void deliver() const override {
      entity_->template norvDeliver<N>([this](N& n) { fn_(n, key_); });
   }
   bool sameKeyAs(const PendingNotification& o) const override {
      auto* p = dynamic_cast<const PendingKey*>(&o);
      return p && p->key_ == key_;
   }
   size_t keyHash() const override {
      if constexpr (requires { key_.hash(); }) {
         return key_.hash();
      } else if constexpr (std::is_arithmetic_v<K> || std::is_enum_v<K>) {
         return static_cast<size_t>(key_);
      } else {
         return std::hash<K>()(key_);
      }
   }

private:
   K key_;
   void (*fn_)(N&, const K&);
};

template <class N>
class PendingScalar : public PendingNotification {
public:
   PendingScalar(const Entity* e, const char* attr, void (*fn)(N&))
       : PendingNotification(e, attr), fn_(fn) {}
   void deliver() const override {
      entity_->template norvDeliver<N>([this](N& n) { fn_(n); });
   }
   bool sameKeyAs(const PendingNotification& o) const override {
      return dynamic_cast<const PendingScalar*>(&o) != nullptr;
   }
   size_t keyHash() const override { return 0; }

private:
   void (*fn_)(N&);
};

// While any notification is being delivered, an entity whose last reference goes is not
// destroyed at once but when the outermost delivery ends, and a notifiee that goes leaves a
// hole in its notifier's list instead of shifting it: no handler can free the entity that is
// notifying, or the reactor whose handler is running, or move the list, under a delivery loop.
// One counter for all deliveries costs less than holding references, or counting, for each.
NORV_EXPORT inline unsigned deliveryDepth = 0;
// Work waits for the end of the outermost delivery: deferred destructions or holes.
NORV_EXPORT inline bool endWorkPending = false;
NORV_EXPORT void deferDestruction(const Entity* e);
NORV_EXPORT void deliveryEnded();

// Restores the depth it found rather than decrementing it: a decrement would read the depth
// back after the handler, a second trip through memory on every delivery.
class DeliveryScope {
public:
   DeliveryScope() : outer_(deliveryDepth) { deliveryDepth = outer_ + 1; }
   ~DeliveryScope() noexcept(false) {
      deliveryDepth = outer_;
      if (outer_ == 0 && endWorkPending) deliveryEnded();
   }
   DeliveryScope(const DeliveryScope&) = delete;
   DeliveryScope& operator=(const DeliveryScope&) = delete;

private:
   const unsigned outer_;
};

} // namespace detail

template <class N, class F>
void Entity::norvDeliver(F&& call) const {
   if (NotifieeBase* nb = sole_) {
      // The common case of one watcher, without the loop.
      detail::DeliveryScope scope;
      call(*static_cast<N*>(nb));
      return;
   }
   // Notifiees added during delivery are not called for this change: they bound after it.
   const size_t n = notifiees_.size();
   if (n == 0) return;
   detail::DeliveryScope scope;
   for (size_t i = 0; i < n; ++i) {
      NotifieeBase* nb = notifiees_[i];
      if (!nb || !nb->norvDeliverable()) continue;
      call(*static_cast<N*>(nb));
   }
}

template <class N, class K, class F>
inline void Entity::norvNotifyKey(const char* attr, const K& key, F fn) const {
   if (NotifieeBase* nb = norvSoleReceiver()) [[likely]] {
      detail::DeliveryScope scope;
      if constexpr (std::is_trivially_copyable_v<K> && sizeof(K) <= 16) {
         // The handler gets a copy: handing it the caller's key would pin that key in memory,
         // and a loop counter used as the key would go through memory on every turn.
         const K copy = key;
         fn(*static_cast<N*>(nb), copy);
      } else {
         fn(*static_cast<N*>(nb), key);
      }
      return;
   }
   if (!notifiees_.empty()) norvNotifyKeyRest<N>(attr, key, fn);
}

template <class N, class K, class F>
void Entity::norvNotifyKeyRest(const char* attr, const K& key, F fn) const {
   if (detail::batchOpen()) {
      void (*call)(N&, const K&) = fn;
      detail::batchRecord(new detail::PendingKey<N, K>(this, attr, key, call));
      return;
   }
   norvDeliver<N>([&](N& n) { fn(n, key); });
}

template <class N, class F>
inline void Entity::norvNotify(const char* attr, F fn) const {
   if (NotifieeBase* nb = norvSoleReceiver()) [[likely]] {
      detail::DeliveryScope scope;
      fn(*static_cast<N*>(nb));
      return;
   }
   if (!notifiees_.empty()) norvNotifyRest<N>(attr, fn);
}

template <class N, class F>
void Entity::norvNotifyRest(const char* attr, F fn) const {
   if (detail::batchOpen()) {
      void (*call)(N&) = fn;
      detail::batchRecord(new detail::PendingScalar<N>(this, attr, call));
      return;
   }
   norvDeliver<N>([&](N& n) { fn(n); });
}

} // namespace Norv
