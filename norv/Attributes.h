#pragma once

// The shape of every entity attribute, written once. An entity declares its notifiee with
// NORV_ON_* lines and its attributes with one NORV_* line each; the names of the generated
// accessors, mutators and notifications follow the framework's conventions:
//   scalar x:             x(), xIs(v)                                  -> onX()
//   value collection x:   x(k), xIs(k, v), newX(k, v), xDel(k), xDelAll(), xCount(),
//                         xColl(), xIteratorConst()                    -> onX(k)
//   entity collection x:  x(k), newX(k, args...), xIs(k, args...), xDel(k), xDelAll(),
//                         xCount(), xColl()                            -> onX(k)
// Every notifiee also has onX() (the whole attribute) and onXnorvImmediate(), which is called
// when the notifiee is bound to another entity and defaults to onX().

#include "norv/Entity.h"
#include "norv/HashMap.h"
#include "norv/Iterator.h"
#include "norv/MemberColl.h"
#include "norv/RbTreeMap.h"

#define NORV_ON_IMMEDIATE_(Name)                                                               \
   virtual void on##Name##norvImmediate() {                                                    \
      on##Name();                                                                              \
   }                                                                                           \
   ::Norv::ImmediateHook norvHook##Name##_{                                                    \
       this, [](::Norv::NotifieeBase* n) {                                                     \
          static_cast<NotifieeConst*>(n)->on##Name##norvImmediate();                           \
       }};

// Notification of a scalar attribute.
#define NORV_ON(Name)                                                                          \
   virtual void on##Name() {}                                                                  \
   NORV_ON_IMMEDIATE_(Name)

// Notification of a collection attribute, keyed by K.
#define NORV_ON_KEY(Name, K)                                                                   \
   virtual void on##Name(const K&) {}                                                          \
   virtual void on##Name() {}                                                                  \
   NORV_ON_IMMEDIATE_(Name)

#define NORV_SCALAR(name, Name, T)                                                             \
private:                                                                                       \
   T name##_{};                                                                                \
                                                                                               \
public:                                                                                        \
   const T& name() const {                                                                     \
      return name##_;                                                                          \
   }                                                                                           \
   void name##Is(const T& v) {                                                                 \
      if (name##_ == v) return;                                                                \
      name##_ = v;                                                                             \
      this->template norvNotify<NotifieeConst>(#name, [](NotifieeConst& n) { n.on##Name(); }); \
   }

#define NORV_COLL_ACCESS_(name, Name, K, V, Map)                                               \
private:                                                                                       \
   Map<K, V> name##_;                                                                          \
                                                                                               \
public:                                                                                        \
   V name(const K& k) const {                                                                  \
      auto* p = name##_.find(k);                                                               \
      return p ? *p : V{};                                                                     \
   }                                                                                           \
   size_t name##Count() const {                                                                \
      return name##_.size();                                                                   \
   }                                                                                           \
   const Map<K, V>& name##Coll() const {                                                       \
      return name##_;                                                                          \
   }                                                                                           \
   ::Norv::IteratorConst<Map<K, V>> name##IteratorConst() const {                              \
      return ::Norv::IteratorConst<Map<K, V>>(name##_);                                        \
   }

#define NORV_COLL_MUTATORS_(name, Name, K, V, NOTIFY)                                          \
   void name##Is(const K& k, const V& v) {                                                     \
      auto [p, inserted] = name##_.insert(k, v);                                               \
      if (!inserted) {                                                                         \
         if (*p == v) return;                                                                  \
         *p = v;                                                                               \
      }                                                                                        \
      NOTIFY(name, Name, k);                                                                   \
   }                                                                                           \
   void new##Name(const K& k, const V& v) {                                                    \
      name##Is(k, v);                                                                          \
   }                                                                                           \
   void name##Del(const K& k) {                                                                \
      if (name##_.erase(k)) NOTIFY(name, Name, k);                                             \
   }                                                                                           \
   void name##DelAll() {                                                                       \
      while (!name##_.empty()) {                                                               \
         const K k = name##_.begin().key();                                                    \
         name##_.erase(k);                                                                     \
         NOTIFY(name, Name, k);                                                                \
      }                                                                                        \
   }

#define NORV_NOTIFY_KEY_(name, Name, k)                                                        \
   this->template norvNotifyKey<NotifieeConst>(                                                \
       #name, k,                                                                               \
       [](NotifieeConst& n, const std::remove_cvref_t<decltype(k)>& key) { n.on##Name(key); })
#define NORV_NO_NOTIFY_(name, Name, k) (void)0

// A collection of plain values in an entity; every change notifies onName(key).
#define NORV_VALUE_COLL(name, Name, K, V, Map)                                                 \
   NORV_COLL_ACCESS_(name, Name, K, V, Map)                                                    \
   NORV_COLL_MUTATORS_(name, Name, K, V, NORV_NOTIFY_KEY_)

// The same inside a value type, which has no notifiees.
#define NORV_PLAIN_COLL(name, Name, K, V, Map)                                                 \
   NORV_COLL_ACCESS_(name, Name, K, V, Map)                                                    \
   NORV_COLL_MUTATORS_(name, Name, K, V, NORV_NO_NOTIFY_)

// A collection of entities owned by this entity, each built as E(key, args...). xIs(k, args)
// returns the member built from equal arguments, creates it when absent, and raises the
// reinstantiation error when the arguments differ.
#define NORV_ENTITY_COLL(name, Name, K, E, Map)                                                \
private:                                                                                       \
   ::Norv::MemberColl<K, E, Map> name##_;                                                      \
                                                                                               \
public:                                                                                        \
   ::Norv::Ptr<E> name(const K& k) {                                                           \
      return name##_.find(k);                                                                  \
   }                                                                                           \
   ::Norv::Ptr<const E> name(const K& k) const {                                               \
      return name##_.find(k);                                                                  \
   }                                                                                           \
   size_t name##Count() const {                                                                \
      return name##_.size();                                                                   \
   }                                                                                           \
   const ::Norv::MemberColl<K, E, Map>& name##Coll() const {                                   \
      return name##_;                                                                          \
   }                                                                                           \
   template <class... A>                                                                       \
   ::Norv::Ptr<E> new##Name(const K& k, const A&... a) {                                       \
      ::Norv::Ptr<E> m(new E(k, a...));                                                        \
      name##_.add(k, m);                                                                       \
      NORV_NOTIFY_KEY_(name, Name, k);                                                         \
      return m;                                                                                \
   }                                                                                           \
   template <class... A>                                                                       \
   ::Norv::Ptr<E> name##Is(const K& k, const A&... a) {                                        \
      return ::Norv::memberIsThen(                                                             \
          name##_, k, [&] { return ::Norv::Ptr<E>(new E(k, a...)); },                          \
          [&](const ::Norv::Ptr<E>&) { NORV_NOTIFY_KEY_(name, Name, k); }, a...);              \
   }                                                                                           \
   void name##Del(const K& k) {                                                                \
      if (name##_.del(k)) NORV_NOTIFY_KEY_(name, Name, k);                                     \
   }                                                                                           \
   void name##DelAll() {                                                                       \
      name##_.delAll([this](const K& k) { NORV_NOTIFY_KEY_(name, Name, k); });                 \
   }

// A reactor's collection of nested reactors: accessors and removal. The reactor writes its own
// xIs(key, ...) with Norv::memberIs, because it decides the factory arguments.
#define NORV_REACTOR_COLL(name, Name, K, R, Map)                                               \
private:                                                                                       \
   ::Norv::MemberColl<K, R, Map> name##_{this};                                                \
                                                                                               \
public:                                                                                        \
   ::Norv::Ptr<R> name(const K& k) const {                                                     \
      return name##_.find(k);                                                                  \
   }                                                                                           \
   size_t name##Count() const {                                                                \
      return name##_.size();                                                                   \
   }                                                                                           \
   const ::Norv::MemberColl<K, R, Map>& name##Coll() const {                                   \
      return name##_;                                                                          \
   }                                                                                           \
   void name##Del(const K& k) {                                                                \
      name##_.del(k);                                                                          \
   }                                                                                           \
   void name##DelAll() {                                                                       \
      name##_.delAll();                                                                        \
   }

// A reactor's notifiee that forwards one keyed attribute of its input to the reactor's pair of
// handlers: onAttr(key) to handler(key) and the whole attribute to handler().
#define NORV_FORWARDING_NOTIFIEE(Class, Input, Reactor, Attr, Key, handler)                    \
   class Class : public Input::NotifieeConst {                                                 \
   public:                                                                                     \
      Class(Reactor* reactor, ::Norv::Ptr<const Input> notifier)                               \
          : NotifieeConst(reactor, std::move(notifier)), reactor_(reactor) {}                  \
      void on##Attr(const Key& key) override { reactor_->handler(key); }                       \
      void on##Attr() override { reactor_->handler(); }                                        \
                                                                                               \
   private:                                                                                    \
      Reactor* reactor_;                                                                       \
   };
