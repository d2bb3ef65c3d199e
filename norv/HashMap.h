#pragma once

#include "norv/Hash.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <type_traits>
#include <utility>

namespace Norv {

// A hash map whose iteration order is a property of its keys, not of its history: members come
// in ascending order of their bit-reversed hash, ties (full hash collisions) in insertion
// order. Keys 0, 1, 2, 3 therefore iterate as 0, 2, 1, 3, and growing the table never reorders
// anything.
//
// Iterators survive removal: an iterator standing on a member that gets erased (by key, through
// another iterator, or by clear()) keeps it alive and readable, and advancing it continues with
// the first live member ordered after it, members inserted meanwhile included. A member
// re-inserted under the erased key is newer, so it orders after the erased one and is visited.
// Notification handlers erase and insert while the framework walks a collection; this is what
// lets them.
//
// Layout: the members form one doubly-linked list in iteration order, so a walk is plain
// pointer chasing. A power-of-two array of slots, indexed by the low bits of the hash, points
// at the first member of each bucket; bucket b (the b-th range of the order) lives in the slot
// whose index is b with its bits mirrored. A bitmap over buckets, in order, finds the next
// occupied bucket when a member lands in an empty one. The table is allocated with
// kInitialSlots slots on first insertion and doubles once the members outnumber the slots;
// doubling only re-points slots, the list stays as it is.
//
// Iterators on live members are registered with the map, so erasing a member finds the ones
// standing on it without the walk paying for reference counts.
//
// Values never move: pointers from find() and insert() stay valid until the member is erased.
// Destroying a map leaves its iterators readable but not advanceable. Not thread-safe.
template <class K, class V, class H = Hash<K>, class Eq = std::equal_to<K>>
class HashMap {
   // With the default hash an integral key is its own hash and distinct keys never collide, so
   // the node stores neither the hash nor a tie-breaking insertion number.
   static constexpr bool kIntegralKey = std::is_integral_v<K> || std::is_enum_v<K>;
   static constexpr bool kKeyIsHash =
       kIntegralKey && sizeof(K) <= sizeof(size_t) && std::is_same_v<H, Hash<K>>;

   struct NoHashSlot {};
   struct HashSlot {
      size_t hash = 0;
      uint64_t seq = 0;
   };

   // A member. Erased while iterators stand on it, it leaves the list, points `prev` at itself,
   // and counts those iterators in `pins`; the last one to leave frees it.
   struct Node {
      union {
         Node* next = nullptr;
         size_t pins;
      };
      Node* prev = nullptr;
      [[no_unique_address]] std::conditional_t<kKeyIsHash, NoHashSlot, HashSlot> hs;
      K key;
      V value;

      template <class... A>
      explicit Node(const K& k, A&&... a) : key(k), value(std::forward<A>(a)...) {}
      bool erased() const { return prev == this; }
   };

   // An iterator's position. Registered with the map (pprev set) whenever it stands on a live
   // member; on an erased one it is unregistered and counted in the member's pins.
   struct Cursor {
      const HashMap* map = nullptr;
      Node* node = nullptr;
      Cursor* next = nullptr;
      Cursor** pprev = nullptr;
   };

   static constexpr size_t kInitialSlots = 8;
   // From this many slots on the members outgrow the first-level cache and a walk is bound by
   // fetching them; it then fetches the member a few buckets ahead so that the misses overlap.
   static constexpr size_t kPrefetchSlots = size_t{1} << 11;
   static constexpr size_t kPrefetchDistance = 16;
   // Past this many slots the slot array itself is out of cache and is fetched a stage earlier.
   static constexpr size_t kPrefetchSlotsTwice = size_t{1} << 16;

public:
   template <bool Const>
   class IteratorT;
   using Iterator = IteratorT<false>;
   using ConstIterator = IteratorT<true>;

   HashMap() = default;
   HashMap(const HashMap& o) : hash_(o.hash_), eq_(o.eq_) { copyFrom(o); }
   HashMap(HashMap&& o) noexcept : hash_(o.hash_), eq_(o.eq_) { swap(o); }
   HashMap& operator=(const HashMap& o) {
      if (this != &o) {
         HashMap copy(o);
         swap(copy);
      }
      return *this;
   }
   HashMap& operator=(HashMap&& o) noexcept {
      if (this != &o) {
         HashMap gone(std::move(*this));
         swap(o);
      }
      return *this;
   }
   ~HashMap() {
      clear();
      delete[] slots_;
      delete[] occupied_;
   }

   // Iterators follow the contents they stand on.
   void swap(HashMap& o) noexcept {
      std::swap(slots_, o.slots_);
      std::swap(occupied_, o.occupied_);
      std::swap(nslots_, o.nslots_);
      std::swap(shift_, o.shift_);
      std::swap(head_, o.head_);
      std::swap(tail_, o.tail_);
      std::swap(size_, o.size_);
      std::swap(nextSeq_, o.nextSeq_);
      std::swap(hash_, o.hash_);
      std::swap(eq_, o.eq_);
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
      // Members with iterators on them leave the list first and stay until those move on.
      for (Cursor* c = cursors_; c; c = c->next) {
         c->pprev = nullptr;
         Node* n = c->node;
         if (!n) continue;
         if (!n->erased()) {
            detach(n);
            n->prev = n;
            n->pins = 0;
         }
         ++n->pins;
      }
      cursors_ = nullptr;
      for (Node* n = head_; n;) {
         Node* next = n->next;
         delete n;
         n = next;
      }
      if (slots_) {
         std::memset(static_cast<void*>(slots_), 0, nslots_ * sizeof(Node*));
         std::memset(occupied_, 0, occupiedWords(nslots_) * sizeof(uint64_t));
      }
      head_ = tail_ = nullptr;
      size_ = 0;
   }

   Iterator begin() { return Iterator(this, head_); }
   Iterator end() { return Iterator(this, nullptr); }
   ConstIterator begin() const { return ConstIterator(this, head_); }
   ConstIterator end() const { return ConstIterator(this, nullptr); }
   ConstIterator cbegin() const { return begin(); }
   ConstIterator cend() const { return end(); }

   Iterator iteratorAt(const K& k) { return Iterator(this, findNode(k)); }
   ConstIterator iteratorAt(const K& k) const { return ConstIterator(this, findNode(k)); }

   // Same keys with equal values; the order plays no part.
   bool operator==(const HashMap& o) const {
      if (size_ != o.size_) return false;
      for (const Node* n = head_; n; n = n->next) {
         const Node* m = o.findNode(n->key);
         if (!m || !(m->value == n->value)) return false;
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
      friend class HashMap;
      template <bool>
      friend class IteratorT;
      IteratorT(const HashMap* map, Node* node) { place(c_, map, node); }

      Cursor c_;
   };

private:
   // Puts an idle cursor on n, a live member of map, an erased member, or null.
   static void place(Cursor& c, const HashMap* map, Node* n) {
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
         c.node = c.map->liveSuccessor(c.node);
         return;
      }
      Node* n = c.node;
      const HashMap* map = c.map;
      Node* next = map->successorOfErased(*n);
      leave(c);
      place(c, map, next);
   }

   void adoptCursors() {
      if (cursors_) cursors_->pprev = &cursors_;
      for (Cursor* c = cursors_; c; c = c->next)
         c->map = this;
   }

   static size_t hashOf(const Node& n) {
      if constexpr (kKeyIsHash) {
         return static_cast<size_t>(n.key);
      } else {
         return n.hs.hash;
      }
   }

   static size_t occupiedWords(size_t slots) { return (slots + 63) / 64; }
   size_t slotOf(size_t h) const { return h & (nslots_ - 1); }
   size_t bucketOf(size_t h) const { return reverseBits(h) >> shift_; }
   size_t slotOfBucket(size_t b) const { return reverseBits(b) >> shift_; }

   void markOccupied(size_t b) { occupied_[b / 64] |= uint64_t{1} << (b % 64); }
   void markEmpty(size_t b) { occupied_[b / 64] &= ~(uint64_t{1} << (b % 64)); }

   // First member of the first occupied bucket at or after bucket b.
   Node* firstFromBucket(size_t b) const {
      if (b >= nslots_) return nullptr;
      size_t w = b / 64;
      uint64_t bits = occupied_[w] & (~uint64_t{0} << (b % 64));
      while (!bits) {
         if (++w == occupiedWords(nslots_)) return nullptr;
         bits = occupied_[w];
      }
      return slots_[slotOfBucket(w * 64 + static_cast<size_t>(__builtin_ctzll(bits)))];
   }

   // The slot of the bucket d (a power of two) places after the bucket in slot s, or nslots_
   // if there is none. Adding to the mirrored index is a carry that runs down the slot index
   // from the bit mirroring d: ones clear until the first zero, which is set.
   size_t slotAhead(size_t s, size_t d) const {
      const size_t span = nslots_ / d - 1;
      const size_t zeros = ~s & span;
      if (!zeros) return nslots_;
      const size_t top = size_t{1} << (63 - __builtin_clzll(zeros));
      return (s & ~span) | (s & (top - 1)) | top;
   }

   // A live member's successor. A large table fetches the member a few buckets ahead so that
   // the misses of a walk overlap. (This returns the successor so that the compiler cannot
   // drop it as a call without effect.)
   Node* liveSuccessor(const Node* n) const {
      if (nslots_ >= kPrefetchSlots) {
         const size_t s = slotOf(hashOf(*n));
         if (nslots_ >= kPrefetchSlotsTwice) {
            const size_t far = slotAhead(s, 2 * kPrefetchDistance);
            if (far < nslots_) __builtin_prefetch(&slots_[far]);
         }
         const size_t near = slotAhead(s, kPrefetchDistance);
         if (near < nslots_) __builtin_prefetch(slots_[near]);
      }
      return n->next;
   }

   // Where a walk resumes after the erased n: the first live member ordered after it.
   Node* successorOfErased(const Node& n) const {
      if (size_ == 0) return nullptr;
      const size_t h = hashOf(n);
      Node* m = slots_[slotOf(h)];
      if (!m) return firstFromBucket(bucketOf(h) + 1);
      // The walk may run on into later buckets; their members all order after n.
      while (m && !orderedAfter(*m, n))
         m = m->next;
      return m;
   }

   bool orderedAfter(const Node& m, const Node& n) const {
      const size_t mh = hashOf(m);
      const size_t nh = hashOf(n);
      if constexpr (kKeyIsHash) {
         // An equal hash here is n's key inserted again since, which makes it the newer.
         return !reversedLess(mh, nh);
      } else {
         return reversedLess(nh, mh) || (mh == nh && m.hs.seq > n.hs.seq);
      }
   }

   Node* findNode(const K& k) const {
      if (size_ == 0) return nullptr;
      const size_t h = hash_(k);
      Node* n = slots_[slotOf(h)];
      while (n && reversedLess(hashOf(*n), h))
         n = n->next;
      for (; n && hashOf(*n) == h; n = n->next) {
         if (eq_(n->key, k)) return n;
      }
      return nullptr;
   }

   // The member a new one with hash h goes in front of (null: the end of the list); sets
   // *found instead if k is present. Colliders keep insertion order, so a new one goes after
   // them.
   Node* placeFor(const K& k, size_t h, Node** found) const {
      Node* n = slots_[slotOf(h)];
      if (!n) return firstFromBucket(bucketOf(h) + 1);
      while (n && reversedLess(hashOf(*n), h))
         n = n->next;
      for (; n && hashOf(*n) == h; n = n->next) {
         if (eq_(n->key, k)) {
            *found = n;
            return nullptr;
         }
      }
      return n;
   }

   template <class... A>
   std::pair<V*, bool> emplace(const K& k, A&&... a) {
      if (!slots_) allocateTable(kInitialSlots);
      const size_t h = hash_(k);
      Node* found = nullptr;
      Node* before = placeFor(k, h, &found);
      if (found) return {&found->value, false};
      if (size_ >= nslots_) {
         grow();
         before = placeFor(k, h, &found);
      }
      Node* n = new Node(k, std::forward<A>(a)...);
      if constexpr (!kKeyIsHash) {
         n->hs.hash = h;
         n->hs.seq = nextSeq_++;
      }
      Node* after = before ? before->prev : tail_;
      n->prev = after;
      n->next = before;
      (after ? after->next : head_) = n;
      (before ? before->prev : tail_) = n;
      Node*& slot = slots_[slotOf(h)];
      if (!slot) {
         markOccupied(bucketOf(h));
         slot = n;
      } else if (slot == before) {
         slot = n;
      }
      ++size_;
      return {&n->value, true};
   }

   // Takes n out of the list, leaving the slots alone.
   void detach(Node* n) {
      (n->prev ? n->prev->next : head_) = n->next;
      (n->next ? n->next->prev : tail_) = n->prev;
   }

   void remove(Node* n) {
      const size_t h = hashOf(*n);
      Node*& slot = slots_[slotOf(h)];
      if (slot == n) {
         if (n->next && slotOf(hashOf(*n->next)) == slotOf(h)) {
            slot = n->next;
         } else {
            slot = nullptr;
            markEmpty(bucketOf(h));
         }
      }
      detach(n);
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
         n->prev = n;
         n->pins = pins;
      } else {
         delete n;
      }
   }

   void allocateTable(size_t count) {
      Node** slots = new Node*[count]();
      try {
         occupied_ = new uint64_t[occupiedWords(count)]();
      } catch (...) {
         delete[] slots;
         throw;
      }
      slots_ = slots;
      nslots_ = count;
      shift_ = 64 - static_cast<unsigned>(__builtin_ctzll(count));
   }

   // Slot s splits into s and s + nslots_. Its members are ordered by the mirrored hash, whose
   // next bit is the one that decides, so those moving to s + nslots_ are a suffix of its run.
   void grow() {
      Node** oldSlots = slots_;
      uint64_t* oldOccupied = occupied_;
      const size_t old = nslots_;
      allocateTable(old * 2);
      for (size_t s = 0; s < old; ++s) {
         Node* n = oldSlots[s];
         if (!n) continue;
         if (!(hashOf(*n) & old)) {
            slots_[s] = n;
            markOccupied(bucketOf(s));
            do {
               n = n->next;
            } while (n && (hashOf(*n) & (2 * old - 1)) == s);
         }
         if (n && (hashOf(*n) & (old - 1)) == s) {
            slots_[s + old] = n;
            markOccupied(bucketOf(s + old));
         }
      }
      delete[] oldSlots;
      delete[] oldOccupied;
   }

   void copyFrom(const HashMap& o) {
      nextSeq_ = o.nextSeq_;
      if (o.size_ == 0) return;
      allocateTable(o.nslots_);
      try {
         for (const Node* m = o.head_; m; m = m->next) {
            Node* n = new Node(m->key, m->value);
            n->hs = m->hs;
            n->prev = tail_;
            (tail_ ? tail_->next : head_) = n;
            tail_ = n;
            ++size_;
            Node*& slot = slots_[slotOf(hashOf(*n))];
            if (!slot) {
               slot = n;
               markOccupied(bucketOf(hashOf(*n)));
            }
         }
      } catch (...) {
         clear();
         delete[] slots_;
         delete[] occupied_;
         throw;
      }
   }

   Node** slots_ = nullptr;
   uint64_t* occupied_ = nullptr;
   size_t nslots_ = 0;
   unsigned shift_ = 64;
   Node* head_ = nullptr;
   Node* tail_ = nullptr;
   size_t size_ = 0;
   uint64_t nextSeq_ = 0;
   mutable Cursor* cursors_ = nullptr;
   [[no_unique_address]] H hash_;
   [[no_unique_address]] Eq eq_;
};

} // namespace Norv
