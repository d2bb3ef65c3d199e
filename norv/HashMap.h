#pragma once

#include "norv/Hash.h"
#include "norv/HashCells.h"
#include "norv/MapCursor.h"

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
// pointer chasing; HashCells places them in memory in that same order, as far as it can. A
// power-of-two array of slots, indexed by the low bits of the hash, points at the first member
// of each bucket; bucket b (the b-th range of the order) lives in the slot whose index is b
// with its bits mirrored. A bitmap over buckets, in order, finds the next occupied bucket when
// a member lands in an empty one. The table is allocated with kInitialSlots slots on first
// insertion and doubles once the members outnumber the slots; doubling only re-points slots,
// the list stays as it is.
//
// Iterators on live members are registered with the map, so erasing a member finds the ones
// standing on it without the walk paying for reference counts.
//
// Values never move: pointers from find() and insert() stay valid until the member is erased.
// Destroying a map leaves its iterators readable but not advanceable. Not thread-safe.
template <class K, class V, class H = Hash<K>, class Eq = std::equal_to<K>>
class HashMap : public MapOps<HashMap<K, V, H, Eq>, K, V> {
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
      uint8_t cellBlock = 0;
      K key;
      V value;

      template <class... A>
      explicit Node(const K& k, A&&... a) : key(k), value(std::forward<A>(a)...) {}
      bool erased() const { return prev == this; }
      void markErased() { prev = this; }
   };

   using Cursor = MapCursor<HashMap>;
   using Cells = HashCells<Node>;
   friend Cursor;
   friend Cells;
   friend MapOps<HashMap, K, V>;

   static constexpr size_t kInitialSlots = 8;
   // How far ahead in memory a walk fetches.
   static constexpr size_t kPrefetchBytes = 8 * sizeof(Node);

public:
   template <bool Const>
   using IteratorT = MapIterator<HashMap, Const>;
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
      cells_.swap(o.cells_);
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
      cursors_.adopt(this);
      o.cursors_.adopt(&o);
   }

   void clear() {
      // Members with iterators on them leave the list first and stay (on the heap) until those
      // move on.
      for (Cursor* c = cursors_.head; c; c = c->next) {
         c->pprev = nullptr;
         Node* n = c->node;
         if (!n) continue;
         if (!n->erased()) {
            detach(n);
            n = outOfCell(n);
            n->markErased();
            n->pins = 0;
         }
         ++n->pins;
      }
      cursors_.head = nullptr;
      for (Node* n = head_; n;) {
         Node* next = n->next;
         cells_.destroy(n);
         n = next;
      }
      if (slots_) cells_.restart(nslots_);
      if (slots_) {
         std::memset(static_cast<void*>(slots_), 0, nslots_ * sizeof(Node*));
         std::memset(occupied_, 0, occupiedWords(nslots_) * sizeof(uint64_t));
      }
      head_ = tail_ = nullptr;
      size_ = 0;
   }

   // Same keys with equal values; the order plays no part.
   bool operator==(const HashMap& o) const {
      if (size_ != o.size_) return false;
      for (const Node* n = head_; n; n = n->next) {
         const Node* m = o.findNode(n->key);
         if (!m || !(m->value == n->value)) return false;
      }
      return true;
   }

private:
   Node* first() const { return head_; }

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

   // A live member's successor. Members sit in memory in walk order (HashCells), a few streams
   // of them, so the walk fetches the memory a few members past this one: by the time it gets
   // there it is in cache. Unconditional: testing the table's size costs more than a prefetch
   // of memory already cached. (This returns the successor so that the compiler cannot
   // drop it as a call without effect.)
   Node* liveSuccessor(const Node* n) const {
      __builtin_prefetch(
          reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(n) + kPrefetchBytes));
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
      if (!slots_) {
         cells_.open(kInitialSlots);
         allocateTable(kInitialSlots);
      }
      const size_t h = hash_(k);
      Node* found = nullptr;
      Node* before = placeFor(k, h, &found);
      if (found) return {&found->value, false};
      if (size_ >= nslots_) {
         grow();
         before = placeFor(k, h, &found);
      }
      Node* n = cells_.make(h, k, std::forward<A>(a)...);
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
      // Iterators rarely stand on the member; when they do, it goes to the heap to stay.
      if (!cursors_.standsOn(n)) {
         cells_.destroy(n);
      } else {
         cursors_.retire(outOfCell(n));
      }
      if (size_ == 0) cells_.restart(nslots_);
   }

   // A member erased under iterators outlives its cell, which a new member may want: it moves
   // to the heap, the iterators with it. It is out of the list already.
   Node* outOfCell(Node* n) {
      if (!Cells::inCell(n)) return n;
      Node* h = new Node(n->key, std::move(n->value));
      h->hs = n->hs;
      h->cellBlock = Cells::kHeap;
      cursors_.repoint(n, h);
      cells_.destroy(n);
      return h;
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
      // Until the next growth, the table takes in as many members as it holds now.
      cells_.open(nslots_);
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
      cells_.open(o.nslots_);
      allocateTable(o.nslots_);
      try {
         for (const Node* m = o.head_; m; m = m->next) {
            Node* n = cells_.make(hashOf(*m), m->key, m->value);
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

   Cells cells_;
   Node** slots_ = nullptr;
   uint64_t* occupied_ = nullptr;
   size_t nslots_ = 0;
   unsigned shift_ = 64;
   Node* head_ = nullptr;
   Node* tail_ = nullptr;
   size_t size_ = 0;
   uint64_t nextSeq_ = 0;
   mutable MapCursorList<HashMap> cursors_;
   [[no_unique_address]] H hash_;
   [[no_unique_address]] Eq eq_;
};

} // namespace Norv
