#pragma once

#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

namespace Norv {

// A key-ordered map (ascending by Less) on a red-black tree, with the same interface and the
// same iterator guarantee as HashMap: an iterator standing on a member that gets erased (by
// key, through another iterator, or by clear()) keeps it alive and readable, and advancing it
// continues with the first live key greater than the erased one, so a key re-inserted
// meanwhile is not visited twice.
//
// Iterators on live members are registered with the map, which is how erasing a member finds
// the ones standing on it. Values never move. Destroying a map leaves its iterators readable
// but not advanceable. Not thread-safe.
template <class K, class V, class Less = std::less<K>>
class RbTreeMap {
   // A member. Erased while iterators stand on it, it leaves the tree, points `parent` at
   // itself, and counts those iterators in `pins`; the last one to leave frees it.
   struct Node {
      union {
         Node* left = nullptr;
         size_t pins;
      };
      Node* right = nullptr;
      Node* parent = nullptr;
      bool red = true;
      K key;
      V value;

      template <class... A>
      explicit Node(const K& k, A&&... a) : key(k), value(std::forward<A>(a)...) {}
      bool erased() const { return parent == this; }
   };

   // An iterator's position. Registered with the map (pprev set) whenever it stands on a live
   // member; on an erased one it is unregistered and counted in the member's pins.
   struct Cursor {
      const RbTreeMap* map = nullptr;
      Node* node = nullptr;
      Cursor* next = nullptr;
      Cursor** pprev = nullptr;
   };

public:
   template <bool Const>
   class IteratorT;
   using Iterator = IteratorT<false>;
   using ConstIterator = IteratorT<true>;

   RbTreeMap() = default;
   RbTreeMap(const RbTreeMap& o) : less_(o.less_) {
      try {
         root_ = clone(o.root_, nullptr);
      } catch (...) {
         destroy(root_);
         throw;
      }
      size_ = o.size_;
   }
   RbTreeMap(RbTreeMap&& o) noexcept : less_(o.less_) { swap(o); }
   RbTreeMap& operator=(const RbTreeMap& o) {
      if (this != &o) {
         RbTreeMap copy(o);
         swap(copy);
      }
      return *this;
   }
   RbTreeMap& operator=(RbTreeMap&& o) noexcept {
      if (this != &o) {
         RbTreeMap gone(std::move(*this));
         swap(o);
      }
      return *this;
   }
   ~RbTreeMap() { clear(); }

   // Iterators follow the contents they stand on.
   void swap(RbTreeMap& o) noexcept {
      std::swap(root_, o.root_);
      std::swap(size_, o.size_);
      std::swap(less_, o.less_);
      std::swap(cursors_, o.cursors_);
      adoptCursors();
      o.adoptCursors();
   }

   size_t size() const { return size_; }
   bool empty() const { return size_ == 0; }

   V* find(const K& k) {
      Node* n = findNode(k);
      return n ? &n->value : nullptr;
   }
   const V* find(const K& k) const {
      const Node* n = findNode(k);
      return n ? &n->value : nullptr;
   }
   bool contains(const K& k) const { return findNode(k) != nullptr; }

   // Inserts k -> v unless k is present; either way returns the member's value.
   std::pair<V*, bool> insert(const K& k, V v) { return emplace(k, std::move(v)); }

   V& operator[](const K& k) { return *emplace(k).first; }

   bool erase(const K& k) {
      Node* n = findNode(k);
      if (!n) return false;
      remove(n);
      return true;
   }

   // Removes the member the iterator stands on, unless it is gone already. The iterator stays
   // on it, so ++ continues with the member after it.
   template <bool C>
   void erase(const IteratorT<C>& it) {
      if (it.c_.node && it.c_.pprev && it.c_.map == this) remove(it.c_.node);
   }

   void clear() {
      // Members with iterators on them are marked, survive the teardown, and then count them.
      for (Cursor* c = cursors_; c; c = c->next) {
         if (c->node) c->node->parent = c->node;
      }
      destroy(root_);
      root_ = nullptr;
      size_ = 0;
      for (Cursor* c = cursors_; c; c = c->next) {
         c->pprev = nullptr;
         if (c->node) ++c->node->pins;
      }
      cursors_ = nullptr;
   }

   Iterator begin() { return Iterator(this, first()); }
   Iterator end() { return Iterator(this, nullptr); }
   ConstIterator begin() const { return ConstIterator(this, first()); }
   ConstIterator end() const { return ConstIterator(this, nullptr); }
   ConstIterator cbegin() const { return begin(); }
   ConstIterator cend() const { return end(); }

   Iterator iteratorAt(const K& k) { return Iterator(this, findNode(k)); }
   ConstIterator iteratorAt(const K& k) const { return ConstIterator(this, findNode(k)); }

   // The first member whose key is not less than k, resp. greater than k.
   Iterator lowerBound(const K& k) { return Iterator(this, lowerNode(k)); }
   ConstIterator lowerBound(const K& k) const { return ConstIterator(this, lowerNode(k)); }
   Iterator upperBound(const K& k) { return Iterator(this, upperNode(k)); }
   ConstIterator upperBound(const K& k) const { return ConstIterator(this, upperNode(k)); }

   // Same keys with equal values.
   bool operator==(const RbTreeMap& o) const {
      if (size_ != o.size_) return false;
      for (const Node *a = first(), *b = o.first(); a; a = successor(a), b = successor(b)) {
         if (less_(a->key, b->key) || less_(b->key, a->key) || !(a->value == b->value)) {
            return false;
         }
      }
      return true;
   }

   template <bool Const>
   class IteratorT {
      using Value = std::conditional_t<Const, const V, V>;

   public:
      IteratorT() = default;
      IteratorT(const IteratorT& o) { place(c_, o.c_.map, o.c_.node); }
      IteratorT(IteratorT&& o) noexcept { take(c_, o.c_); }
      // A mutable iterator converts to a const one.
      template <bool C, class = std::enable_if_t<Const && !C>>
      IteratorT(const IteratorT<C>& o) {
         place(c_, o.c_.map, o.c_.node);
      }
      IteratorT& operator=(const IteratorT& o) {
         if (this != &o) {
            leave(c_);
            place(c_, o.c_.map, o.c_.node);
         }
         return *this;
      }
      IteratorT& operator=(IteratorT&& o) noexcept {
         if (this != &o) {
            leave(c_);
            take(c_, o.c_);
         }
         return *this;
      }
      ~IteratorT() { leave(c_); }

      // True while standing on a member, erased or not.
      explicit operator bool() const { return c_.node != nullptr; }
      const K& key() const { return c_.node->key; }
      Value& value() const { return c_.node->value; }
      std::pair<const K&, Value&> operator*() const { return {c_.node->key, c_.node->value}; }

      IteratorT& operator++() {
         advance(c_);
         return *this;
      }

      template <bool C>
      bool operator==(const IteratorT<C>& o) const {
         return c_.node == o.c_.node;
      }

   private:
      friend class RbTreeMap;
      template <bool>
      friend class IteratorT;
      IteratorT(const RbTreeMap* map, Node* node) { place(c_, map, node); }

      Cursor c_;
   };

private:
   // Puts an idle cursor on n, a live member of map, an erased member, or null.
   static void place(Cursor& c, const RbTreeMap* map, Node* n) {
      c.map = map;
      c.node = n;
      if (!n) return;
      if (n->erased()) {
         ++n->pins;
      } else {
         c.next = map->cursors_;
         if (c.next) c.next->pprev = &c.next;
         map->cursors_ = &c;
         c.pprev = &map->cursors_;
      }
   }

   static void unregister(Cursor& c) {
      *c.pprev = c.next;
      if (c.next) c.next->pprev = c.pprev;
      c.pprev = nullptr;
   }

   static void leave(Cursor& c) {
      if (c.pprev) {
         unregister(c);
      } else if (c.node && --c.node->pins == 0) {
         delete c.node;
      }
      c.node = nullptr;
   }

   // Moves o's position into the idle c, leaving o idle.
   static void take(Cursor& c, Cursor& o) {
      c = o;
      if (c.pprev) {
         *c.pprev = &c;
         if (c.next) c.next->pprev = &c.next;
      }
      o = Cursor{};
   }

   static void advance(Cursor& c) {
      if (c.pprev) {
         c.node = successor(c.node);
         return;
      }
      Node* n = c.node;
      const RbTreeMap* map = c.map;
      Node* next = map->upperNode(n->key);
      leave(c);
      place(c, map, next);
   }

   void adoptCursors() {
      if (cursors_) cursors_->pprev = &cursors_;
      for (Cursor* c = cursors_; c; c = c->next)
         c->map = this;
   }

   static bool isRed(const Node* n) { return n && n->red; }

   static Node* leftmost(Node* n) {
      while (n->left)
         n = n->left;
      return n;
   }
   Node* first() const { return root_ ? leftmost(root_) : nullptr; }

   template <class N>
   static N* successor(N* n) {
      if (n->right) return leftmost(n->right);
      while (n->parent && n == n->parent->right)
         n = n->parent;
      return n->parent;
   }

   Node* findNode(const K& k) const {
      Node* n = root_;
      while (n) {
         if (less_(k, n->key)) {
            n = n->left;
         } else if (less_(n->key, k)) {
            n = n->right;
         } else {
            return n;
         }
      }
      return nullptr;
   }

   Node* lowerNode(const K& k) const {
      Node* found = nullptr;
      for (Node* n = root_; n;) {
         if (less_(n->key, k)) {
            n = n->right;
         } else {
            found = n;
            n = n->left;
         }
      }
      return found;
   }

   Node* upperNode(const K& k) const {
      Node* found = nullptr;
      for (Node* n = root_; n;) {
         if (less_(k, n->key)) {
            found = n;
            n = n->left;
         } else {
            n = n->right;
         }
      }
      return found;
   }

   template <class... A>
   std::pair<V*, bool> emplace(const K& k, A&&... a) {
      Node* parent = nullptr;
      Node** link = &root_;
      while (*link) {
         parent = *link;
         if (less_(k, parent->key)) {
            link = &parent->left;
         } else if (less_(parent->key, k)) {
            link = &parent->right;
         } else {
            return {&parent->value, false};
         }
      }
      Node* n = new Node(k, std::forward<A>(a)...);
      n->parent = parent;
      *link = n;
      ++size_;
      rebalanceAfterInsert(n);
      return {&n->value, true};
   }

   // Points whatever pointed at u (its parent's link, or the root) at v.
   void replaceChild(Node* u, Node* v) {
      if (!u->parent) {
         root_ = v;
      } else if (u == u->parent->left) {
         u->parent->left = v;
      } else {
         u->parent->right = v;
      }
   }

   void rotateLeft(Node* x) {
      Node* y = x->right;
      x->right = y->left;
      if (y->left) y->left->parent = x;
      y->parent = x->parent;
      replaceChild(x, y);
      y->left = x;
      x->parent = y;
   }

   void rotateRight(Node* x) {
      Node* y = x->left;
      x->left = y->right;
      if (y->right) y->right->parent = x;
      y->parent = x->parent;
      replaceChild(x, y);
      y->right = x;
      x->parent = y;
   }

   void rebalanceAfterInsert(Node* z) {
      while (isRed(z->parent)) {
         Node* p = z->parent;
         Node* g = p->parent; // exists: a red node is never the root
         if (p == g->left) {
            Node* u = g->right;
            if (isRed(u)) {
               p->red = u->red = false;
               g->red = true;
               z = g;
               continue;
            }
            if (z == p->right) {
               rotateLeft(p);
               std::swap(z, p);
            }
            p->red = false;
            g->red = true;
            rotateRight(g);
         } else {
            Node* u = g->left;
            if (isRed(u)) {
               p->red = u->red = false;
               g->red = true;
               z = g;
               continue;
            }
            if (z == p->left) {
               rotateRight(p);
               std::swap(z, p);
            }
            p->red = false;
            g->red = true;
            rotateLeft(g);
         }
      }
      root_->red = false;
   }

   // Unlinks z from the tree and restores the red-black invariants.
   void unlink(Node* z) {
      Node* x;       // the node that moved into the vacated position, maybe null
      Node* xParent; // its parent, known even when x is null
      bool removedRed = z->red;
      if (!z->left || !z->right) {
         x = z->left ? z->left : z->right;
         xParent = z->parent;
         replaceChild(z, x);
         if (x) x->parent = xParent;
      } else {
         // z has two children: its successor y, which has no left child, takes its place.
         Node* y = leftmost(z->right);
         removedRed = y->red;
         x = y->right;
         if (y->parent == z) {
            xParent = y;
         } else {
            xParent = y->parent;
            xParent->left = x;
            if (x) x->parent = xParent;
            y->right = z->right;
            y->right->parent = y;
         }
         replaceChild(z, y);
         y->parent = z->parent;
         y->left = z->left;
         y->left->parent = y;
         y->red = z->red;
      }
      if (!removedRed) rebalanceAfterErase(x, xParent);
   }

   // x carries an extra black: push it up or resolve it with the sibling's help.
   void rebalanceAfterErase(Node* x, Node* parent) {
      while (x != root_ && !isRed(x)) {
         if (x == parent->left) {
            Node* w = parent->right;
            if (isRed(w)) {
               w->red = false;
               parent->red = true;
               rotateLeft(parent);
               w = parent->right;
            }
            if (!isRed(w->left) && !isRed(w->right)) {
               w->red = true;
               x = parent;
               parent = x->parent;
               continue;
            }
            if (!isRed(w->right)) {
               w->left->red = false;
               w->red = true;
               rotateRight(w);
               w = parent->right;
            }
            w->red = parent->red;
            parent->red = false;
            w->right->red = false;
            rotateLeft(parent);
         } else {
            Node* w = parent->left;
            if (isRed(w)) {
               w->red = false;
               parent->red = true;
               rotateRight(parent);
               w = parent->left;
            }
            if (!isRed(w->left) && !isRed(w->right)) {
               w->red = true;
               x = parent;
               parent = x->parent;
               continue;
            }
            if (!isRed(w->left)) {
               w->right->red = false;
               w->red = true;
               rotateLeft(w);
               w = parent->left;
            }
            w->red = parent->red;
            parent->red = false;
            w->left->red = false;
            rotateRight(parent);
         }
         x = root_;
      }
      if (x) x->red = false;
   }

   void remove(Node* n) {
      unlink(n);
      --size_;
      size_t pins = 0;
      for (Cursor* c = cursors_; c;) {
         Cursor* next = c->next;
         if (c->node == n) {
            unregister(*c);
            ++pins;
         }
         c = next;
      }
      if (pins) {
         n->parent = n;
         n->pins = pins;
      } else {
         delete n;
      }
   }

   // Frees a subtree, except members marked as erased, which iterators still hold: their pin
   // count starts from zero.
   static void destroy(Node* n) {
      while (n) {
         destroy(n->right);
         Node* left = n->left;
         if (n->erased()) {
            n->pins = 0;
         } else {
            delete n;
         }
         n = left;
      }
   }

   static Node* clone(const Node* o, Node* parent) {
      if (!o) return nullptr;
      Node* n = new Node(o->key, o->value);
      n->red = o->red;
      n->parent = parent;
      try {
         n->left = clone(o->left, n);
         n->right = clone(o->right, n);
      } catch (...) {
         destroy(n);
         throw;
      }
      return n;
   }

   Node* root_ = nullptr;
   size_t size_ = 0;
   mutable Cursor* cursors_ = nullptr;
   [[no_unique_address]] Less less_;
};

} // namespace Norv
