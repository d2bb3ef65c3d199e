#pragma once

#include <array>
#include <string>
#include <tuple>
#include <type_traits>

#include "norv/Errors.h"
#include "norv/Ptr.h"
#include "norv/Reactor.h"
#include "norv/Text.h"

namespace Norv {

// A keyed collection of owned entities or nested reactors. Removing a nested reactor runs its
// doCleanup() first, then takes it out, then makes it a zombie so notifications already on
// their way to it are dropped.
template <class K, class E, template <class...> class Map>
class MemberColl : public NestedCollBase {
public:
   using Key = K;
   using Member = E;
   using Storage = Map<K, Ptr<E>>;

   MemberColl() = default;
   // A reactor's collection of nested reactors registers with its owner.
   explicit MemberColl(Reactor* owner) {
      if (owner) owner->norvAddNested(this);
   }
   MemberColl(const MemberColl&) = delete;
   MemberColl& operator=(const MemberColl&) = delete;
   ~MemberColl() override {
      if constexpr (isReactor) {
         for (auto it = map_.begin(); it; ++it)
            it.value()->norvDoZombieReactors(true);
      }
   }

   Ptr<E> find(const K& k) const {
      auto* p = map_.find(k);
      return p ? *p : Ptr<E>();
   }
   bool contains(const K& k) const { return map_.contains(k); }
   size_t size() const { return map_.size(); }
   bool empty() const { return map_.empty(); }
   const Storage& storage() const { return map_; }
   auto begin() const { return map_.begin(); }
   auto end() const { return map_.end(); }

   // Files `m` under `k`, replacing (and removing) any member already there.
   void add(const K& k, Ptr<E> m) {
      if (map_.contains(k)) del(k);
      map_.insert(k, std::move(m));
   }

   bool del(const K& k) {
      auto* p = map_.find(k);
      if (!p) return false;
      Ptr<E> m = *p;
      if constexpr (isReactor) m->doCleanup();
      map_.erase(k);
      if constexpr (isReactor) m->norvDoZombieReactors(true);
      return true;
   }

   // Removes every member; calls `removed(key)` after each.
   template <class F>
   void delAll(F&& removed) {
      while (!map_.empty()) {
         K k = map_.begin().key();
         del(k);
         removed(k);
      }
   }
   void delAll() {
      delAll([](const K&) {});
   }

   void norvForEachReactor(void (*fn)(Reactor&, bool), bool v) override {
      if constexpr (isReactor) {
         for (auto it = map_.begin(); it; ++it)
            fn(*it.value(), v);
      }
   }

private:
   static constexpr bool isReactor = std::is_base_of_v<Reactor, E>;
   Storage map_;
};

[[noreturn]] NORV_EXPORT void throwReinstantiation(const char* attr, const std::string& given,
                                                   const std::string& current);

namespace detail {

// Pointers are the same attribute when they point at the same object; values when equal.
template <class A, class B>
bool sameAttr(const A& a, const B& b) {
   return a == b;
}

template <class E, size_t I = 0, class Cur, class Given>
void checkAttrs(const Cur& cur, const Given& given) {
   if constexpr (I < std::tuple_size_v<Given>) {
      const auto& g = std::get<I>(given);
      const auto& c = std::get<I>(cur);
      if (!sameAttr(g, c)) throwReinstantiation(E::norvCtorAttrNames[I], text(g), text(c));
      checkAttrs<E, I + 1>(cur, given);
   }
}

} // namespace detail

// Compares the constructor attributes given now with those the member was built with, in
// declaration order; the first difference is a name-in-use error. E declares
// `static constexpr std::array<const char*, N> norvCtorAttrNames` and
// `auto norvCtorAttrs() const` (a tuple of the same N values), the key excluded from both.
template <class E, class... A>
void checkReinstantiation(const E& member, const A&... given) {
   static_assert(sizeof...(A) == std::tuple_size_v<decltype(E::norvCtorAttrNames)>,
                 "every constructor attribute but the key is compared");
   detail::checkAttrs<E>(member.norvCtorAttrs(), std::forward_as_tuple(given...));
}

// Returns the member at `key` if it was built from equal constructor attributes, or creates it
// with `make()` (a new nested reactor is switched on) and calls `created(member)`.
template <class Coll, class Make, class Created, class... A>
Ptr<typename Coll::Member> memberIsThen(Coll& coll, const typename Coll::Key& key, Make&& make,
                                        Created&& created, const A&... given) {
   if (auto m = coll.find(key)) {
      checkReinstantiation(*m, given...);
      return m;
   }
   Ptr<typename Coll::Member> m = make();
   if (!m) throwNullValidPtr();
   coll.add(key, m);
   if constexpr (std::is_base_of_v<Reactor, typename Coll::Member>) {
      m->hasNotificationActiveIs(true);
   }
   created(m);
   return m;
}

template <class Coll, class Make, class... A>
Ptr<typename Coll::Member> memberIs(Coll& coll, const typename Coll::Key& key, Make&& make,
                                    const A&... given) {
   return memberIsThen(
       coll, key, std::forward<Make>(make), [](const auto&) {}, given...);
}

} // namespace Norv
