#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

namespace Norv {

template <class Map, class K, class V>
class MapOps;

// The iterators HashMap and RbTreeMap hand out, and the registry that lets them survive
// removal. An iterator standing on a live member is registered with its map, so erasing the
// member finds the iterators on it without a walk paying for reference counts; on an erased
// member it is unregistered and counted in the member's pins, and the last one to leave frees
// it.
//
// Map befriends MapCursor and provides:
//   Node, with `key`, `value`, `size_t pins`, erased() and markErased();
//   mutable MapCursorList<Map> cursors_;
//   Node* liveSuccessor(Node*) const, the successor of a live member;
//   Node* successorOfErased(const Node&) const, where a walk resumes after an erased member.
template <class Map>
struct MapCursor {
   using Node = typename Map::Node;

   const Map* map = nullptr;
   Node* node = nullptr;
   MapCursor* next = nullptr;
   MapCursor** pprev = nullptr; // set while registered

   // Puts this idle cursor on n, a live member of m, an erased member, or null.
   void place(const Map* m, Node* n) {
      map = m;
      node = n;
      if (!n) return;
      if (n->erased()) {
         ++n->pins;
      } else {
         next = m->cursors_.head;
         if (next) next->pprev = &next;
         m->cursors_.head = this;
         pprev = &m->cursors_.head;
      }
   }

   void unregister() {
      *pprev = next;
      if (next) next->pprev = pprev;
      pprev = nullptr;
   }

   void leave() {
      if (pprev) {
         unregister();
      } else if (node && --node->pins == 0) {
         delete node;
      }
      node = nullptr;
   }

   // Moves o's position into this idle cursor, leaving o idle.
   void take(MapCursor& o) {
      *this = o;
      if (pprev) {
         *pprev = this;
         if (next) next->pprev = &next;
      }
      o = MapCursor{};
   }

   void advance() {
      if (pprev) {
         node = map->liveSuccessor(node);
         return;
      }
      const Map* m = map;
      Node* resume = m->successorOfErased(*node);
      leave();
      place(m, resume);
   }

   // The live member of m this cursor stands on, if any.
   Node* liveIn(const Map* m) const { return pprev && map == m ? node : nullptr; }
};

// A map's registered cursors.
template <class Map>
struct MapCursorList {
   using Cursor = MapCursor<Map>;
   using Node = typename Cursor::Node;

   Cursor* head = nullptr;

   // After the list changed hands (a swap), points its cursors at their new map.
   void adopt(const Map* map) {
      if (head) head->pprev = &head;
      for (Cursor* c = head; c; c = c->next)
         c->map = map;
   }

   bool standsOn(const Node* n) const {
      for (const Cursor* c = head; c; c = c->next) {
         if (c->node == n) return true;
      }
      return false;
   }

   // Moves the cursors standing on `from` to `to`.
   void repoint(const Node* from, Node* to) {
      for (Cursor* c = head; c; c = c->next) {
         if (c->node == from) c->node = to;
      }
   }

   // n was just taken out of its map. If cursors stand on it, they leave the list and n stays,
   // marked erased, until the last of them moves on (and frees it with delete); the answer is
   // then true. Otherwise n is the caller's to free.
   bool retire(Node* n) {
      size_t pins = 0;
      for (Cursor* c = head; c;) {
         Cursor* next = c->next;
         if (c->node == n) {
            c->unregister();
            ++pins;
         }
         c = next;
      }
      if (!pins) return false;
      n->markErased();
      n->pins = pins;
      return true;
   }
};

template <class Map, bool Const>
class MapIterator {
   using Cursor = MapCursor<Map>;
   using Node = typename Cursor::Node;
   using K = decltype(Node::key);
   using V = std::conditional_t<Const, const decltype(Node::value), decltype(Node::value)>;

public:
   MapIterator() = default;
   MapIterator(const MapIterator& o) { c_.place(o.c_.map, o.c_.node); }
   MapIterator(MapIterator&& o) noexcept { c_.take(o.c_); }
   // A mutable iterator converts to a const one.
   template <bool C, class = std::enable_if_t<Const && !C>>
   MapIterator(const MapIterator<Map, C>& o) {
      c_.place(o.c_.map, o.c_.node);
   }
   MapIterator& operator=(const MapIterator& o) {
      if (this != &o) {
         c_.leave();
         c_.place(o.c_.map, o.c_.node);
      }
      return *this;
   }
   MapIterator& operator=(MapIterator&& o) noexcept {
      if (this != &o) {
         c_.leave();
         c_.take(o.c_);
      }
      return *this;
   }
   ~MapIterator() { c_.leave(); }

   // True while standing on a member, erased or not.
   explicit operator bool() const { return c_.node != nullptr; }
   const K& key() const { return c_.node->key; }
   V& value() const { return c_.node->value; }
   std::pair<const K&, V&> operator*() const { return {c_.node->key, c_.node->value}; }

   MapIterator& operator++() {
      c_.advance();
      return *this;
   }

   template <bool C>
   bool operator==(const MapIterator<Map, C>& o) const {
      return c_.node == o.c_.node;
   }

private:
   friend Map;
   template <class, class, class>
   friend class MapOps;
   template <class, bool>
   friend class MapIterator;
   MapIterator(const Map* map, Node* node) { c_.place(map, node); }

   Cursor c_;
};

// The lookups, updates and iterator factories HashMap and RbTreeMap (Map) share, in terms of
// the map's own members: findNode(k), emplace(k, args...), remove(n), first() and size_. Map
// derives from MapOps<Map, K, V> and befriends it.
template <class Map, class K, class V>
class MapOps {
public:
   template <bool Const>
   using IteratorT = MapIterator<Map, Const>;
   using Iterator = IteratorT<false>;
   using ConstIterator = IteratorT<true>;

   size_t size() const { return self().size_; }
   bool empty() const { return self().size_ == 0; }

   V* find(const K& k) {
      auto* n = self().findNode(k);
      return n ? &n->value : nullptr;
   }
   const V* find(const K& k) const {
      const auto* n = self().findNode(k);
      return n ? &n->value : nullptr;
   }
   bool contains(const K& k) const { return self().findNode(k) != nullptr; }

   // Inserts k -> v unless k is present; either way returns the member's value.
   std::pair<V*, bool> insert(const K& k, V v) { return self().emplace(k, std::move(v)); }

   V& operator[](const K& k) { return *self().emplace(k).first; }

   bool erase(const K& k) {
      auto* n = self().findNode(k);
      if (!n) return false;
      self().remove(n);
      return true;
   }

   // Removes the member the iterator stands on, unless it is gone already. The iterator stays
   // on it, so ++ continues with the member after it.
   template <bool C>
   void erase(const IteratorT<C>& it) {
      if (auto* n = it.c_.liveIn(&self())) self().remove(n);
   }

   Iterator begin() { return Iterator(&self(), self().first()); }
   Iterator end() { return Iterator(&self(), nullptr); }
   ConstIterator begin() const { return ConstIterator(&self(), self().first()); }
   ConstIterator end() const { return ConstIterator(&self(), nullptr); }
   ConstIterator cbegin() const { return begin(); }
   ConstIterator cend() const { return end(); }

   Iterator iteratorAt(const K& k) { return Iterator(&self(), self().findNode(k)); }
   ConstIterator iteratorAt(const K& k) const {
      return ConstIterator(&self(), self().findNode(k));
   }

private:
   Map& self() { return static_cast<Map&>(*this); }
   const Map& self() const { return static_cast<const Map&>(*this); }
};

} // namespace Norv
