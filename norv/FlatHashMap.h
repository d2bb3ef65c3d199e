#pragma once

#include "norv/Hash.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace Norv {

// A hash map for the bookkeeping of a hot path: members in one array, open addressing with
// linear probing, removal by shifting the probe run back (no tombstones). A lookup is a hash
// and, usually, one cache line.
//
// What it does not offer, next to HashMap: a defined iteration order (it is the array's, which
// changes as the map grows), and iterators that survive changes of the map. So it is for
// attributes that nobody watches and that are not changed while walked. Values move when the
// map grows or a member is erased: pointers from find() and insert() are good until the next
// change.
template <class K, class V, class H = Hash<K>, class Eq = std::equal_to<K>>
class FlatHashMap {
   struct Slot {
      K key{};
      V value{};
      bool used = false;
   };

public:
   template <bool Const>
   class IteratorT {
   public:
      using Map = std::conditional_t<Const, const FlatHashMap, FlatHashMap>;
      IteratorT() = default;
      IteratorT(Map* m, size_t i) : map_(m), i_(i) { skip(); }
      explicit operator bool() const { return map_ && i_ < map_->slots_.size(); }
      IteratorT& operator++() {
         ++i_;
         skip();
         return *this;
      }
      const K& key() const { return map_->slots_[i_].key; }
      auto& value() const { return map_->slots_[i_].value; }

   private:
      // To the first used slot at or after i_, by the bitmap: the slots in use lie at random,
      // so testing them one by one would mispredict a branch at every other slot.
      void skip() {
         if (!map_) return;
         const size_t n = map_->slots_.size();
         while (i_ < n) {
            const uint64_t bits = map_->usedBits_[i_ / 64] >> (i_ % 64);
            if (bits) {
               i_ += static_cast<size_t>(__builtin_ctzll(bits));
               return;
            }
            i_ = (i_ / 64 + 1) * 64;
         }
      }
      Map* map_ = nullptr;
      size_t i_ = 0;
   };
   using Iterator = IteratorT<false>;
   using ConstIterator = IteratorT<true>;

   size_t size() const { return size_; }
   bool empty() const { return size_ == 0; }
   Iterator begin() { return Iterator(this, 0); }
   ConstIterator begin() const { return ConstIterator(this, 0); }

   V* find(const K& k) {
      if (size_ == 0) return nullptr;
      for (size_t i = home(k);; i = next(i)) {
         if (!isUsed(i)) return nullptr;
         Slot& s = slots_[i];
         if (eq_(s.key, k)) return &s.value;
      }
   }
   const V* find(const K& k) const { return const_cast<FlatHashMap*>(this)->find(k); }
   bool contains(const K& k) const { return find(k) != nullptr; }

   // The member at k, created from v when absent; whether it was created.
   std::pair<V*, bool> insert(const K& k, const V& v) {
      // mask_ + 1 is the slot count (1 while there are none, which grows as well).
      if ((size_ + 1) * 2 > mask_ + 1) grow();
      // Whether a slot is taken is read from the bitmap, which stays in the first-level cache:
      // a key landing on a free slot then writes the slot without waiting to read it.
      for (size_t i = home(k);; i = next(i)) {
         Slot& s = slots_[i];
         if (!isUsed(i)) {
            s.key = k;
            s.value = v;
            s.used = true;
            markUsed(i, true);
            ++size_;
            return {&s.value, true};
         }
         if (eq_(s.key, k)) return {&s.value, false};
      }
   }

   bool erase(const K& k) {
      if (size_ == 0) return false;
      size_t i = home(k);
      for (;; i = next(i)) {
         if (!slots_[i].used) return false;
         if (eq_(slots_[i].key, k)) break;
      }
      // Members further along the run move back into the hole when that brings them no
      // further from their home slot, so that no probe runs into an empty slot early.
      for (size_t j = next(i);; j = next(j)) {
         Slot& s = slots_[j];
         if (!s.used) break;
         const size_t h = home(s.key);
         if (((j - h) & mask_) >= ((j - i) & mask_)) {
            slots_[i] = std::move(s);
            i = j;
         }
      }
      slots_[i] = Slot{};
      markUsed(i, false);
      --size_;
      return true;
   }

   // Room for n members without growing.
   void reserve(size_t n) {
      while (n * 2 > slots_.size())
         grow();
   }

   void clear() {
      for (Slot& s : slots_)
         s = Slot{};
      for (uint64_t& w : usedBits_)
         w = 0;
      size_ = 0;
   }

   // Same keys with equal values.
   bool operator==(const FlatHashMap& o) const {
      if (size_ != o.size_) return false;
      for (const Slot& s : slots_) {
         if (!s.used) continue;
         const V* v = o.find(s.key);
         if (!v || !(*v == s.value)) return false;
      }
      return true;
   }

private:
   static constexpr size_t kInitialSlots = 16;

   // The hash's bits mixed down, so that keys differing only in high bits spread too.
   size_t home(const K& k) const {
      uint64_t h = static_cast<uint64_t>(hash_(k));
      h ^= h >> 29;
      h *= 0xbf58476d1ce4e5b9ull;
      h ^= h >> 32;
      return static_cast<size_t>(h) & mask_;
   }
   size_t next(size_t i) const { return (i + 1) & mask_; }
   bool isUsed(size_t i) const { return usedBits_[i / 64] >> (i % 64) & 1; }
   void markUsed(size_t i, bool used) {
      const uint64_t bit = uint64_t{1} << (i % 64);
      usedBits_[i / 64] = used ? usedBits_[i / 64] | bit : usedBits_[i / 64] & ~bit;
   }

   void grow() {
      std::vector<Slot> old = std::move(slots_);
      slots_.assign(old.empty() ? kInitialSlots : old.size() * 2, Slot{});
      usedBits_.assign((slots_.size() + 63) / 64, 0);
      mask_ = slots_.size() - 1;
      size_ = 0;
      for (Slot& s : old) {
         if (s.used) insert(s.key, s.value);
      }
   }

   std::vector<Slot> slots_;
   std::vector<uint64_t> usedBits_; // bit i: slot i is in use
   size_t mask_ = 0;
   size_t size_ = 0;
   [[no_unique_address]] H hash_;
   [[no_unique_address]] Eq eq_;
};

} // namespace Norv
