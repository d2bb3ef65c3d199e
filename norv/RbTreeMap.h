#pragma once

#include "norv/MapCursor.h"

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
class RbTreeMap : public MapOps<RbTreeMap<K, V, Less>, K, V> {
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
      void markErased() { parent = this; }
   };

   using Cursor = MapCursor<RbTreeMap>;
   friend Cursor;
   friend MapOps<RbTreeMap, K, V>;

public:
   template <bool Const>
   using IteratorT = MapIterator<RbTreeMap, Const>;
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
      cursors_.adopt(this);
      o.cursors_.adopt(&o);
   }

   void clear() {
      // Members with iterators on them are marked, survive the teardown, and then count them.
      for (Cursor* c = cursors_.head; c; c = c->next) {
         if (c->node) c->node->markErased();
      }
      destroy(root_);
      root_ = nullptr;
      size_ = 0;
      for (Cursor* c = cursors_.head; c; c = c->next) {
         c->pprev = nullptr;
         if (c->node) ++c->node->pins;
      }
      cursors_.head = nullptr;
   }

   // The first member whose key is not less than k, resp. greater than k.
   Iterator lowerBound(const K& k) { return Iterator(this, lowerNode(k)); }
   ConstIterator lowerBound(const K& k) const { return ConstIterator(this, lowerNode(k)); }
   Iterator upperBound(const K& k) { return Iterator(this, upperNode(k)); }
   ConstIterator upperBound(const K& k) const { return ConstIterator(this, upperNode(k)); }
   // The members on either side of k, found in one descent: the last whose key is less than k
   // (which the bounds do not reach) and the first whose key is not (the lower bound).
   std::pair<ConstIterator, ConstIterator> neighbours(const K& k) const {
      Node* below = nullptr;
      Node* lower = nullptr;
      for (Node* n = root_; n;) {
         if (less_(n->key, k)) {
            below = n;
            n = n->right;
         } else {
            lower = n;
            n = n->left;
         }
      }
      return {ConstIterator(this, below), ConstIterator(this, lower)};
   }

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

private:
   Node* liveSuccessor(Node* n) const { return successor(n); }
   // Keys ordered after an erased member's are greater than its key.
   Node* successorOfErased(const Node& n) const { return upperNode(n.key); }

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
      // Sets are often written in key order: a key above the greatest goes right of it, where
      // the descent would take it, after one comparison instead of two per level.
      if (root_) {
         Node* last = root_;
         while (last->right)
            last = last->right;
         if (less_(last->key, k)) {
            parent = last;
            link = &last->right;
         }
      }
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
      if (!cursors_.retire(n)) delete n;
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
   mutable MapCursorList<RbTreeMap> cursors_;
   [[no_unique_address]] Less less_;
};

} // namespace Norv
