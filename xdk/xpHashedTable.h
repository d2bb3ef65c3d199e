#pragma once

#include "xdk/xpStatus.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

// A hash of an object's bytes, seeded so that each way of a table spreads keys its own way.
inline uint64_t xpHashBytes(const void* data, size_t n, uint64_t seed) {
   auto mix = [](uint64_t h) {
      h ^= h >> 33;
      h *= 0xff51afd7ed558ccdull;
      h ^= h >> 33;
      h *= 0xc4ceb9fe1a85ec53ull;
      h ^= h >> 33;
      return h;
   };
   const auto* p = static_cast<const unsigned char*>(data);
   uint64_t h = mix(seed ^ (n * 0x9e3779b97f4a7c15ull));
   while (n > 0) {
      uint64_t word = 0;
      const size_t take = n < sizeof word ? n : sizeof word;
      std::memcpy(&word, p, take);
      h = mix(h ^ word) + 0x2545f4914f6cdd1dull;
      p += take;
      n -= take;
   }
   return mix(h);
}

// A hashed table of fixed size, as the chip's exact-match tables are: `size` entries split into
// `ways` ways of equal length; a key may live at one place per way (a different hash per way).
// When every place of a new key is taken, the table tries to move one occupant to a free place
// of its own in another way; when that fails too the table is full. So a key's index depends on
// what was inserted before it, and an insertion can change the index of one other entry.
//
// Key is hashed and compared byte by byte: it must be trivially copyable with no padding.
template <class Key, class Value>
class xpHashedTable {
   static_assert(std::is_trivially_copyable_v<Key> &&
                     std::has_unique_object_representations_v<Key>,
                 "a hashed key is compared by its bytes");

public:
   static constexpr uint32_t kNoIndex = UINT32_MAX;

   struct Slot {
      Key key{};
      Value value{};
      bool valid = false;
   };

   // `size` is rounded down to a multiple of `ways` (at least one entry per way).
   xpHashedTable() = default;
   explicit xpHashedTable(uint32_t size, uint32_t ways = 4) { resize(size, ways); }

   // Empties the table and gives it a new size.
   void resize(uint32_t size, uint32_t ways = 4) {
      ways_ = ways == 0 ? 1 : ways;
      perWay_ = size / ways_;
      if (perWay_ == 0) ways_ = 0;
      slots_.assign(size_t(perWay_) * ways_, Slot{});
      count_ = 0;
   }

   uint32_t size() const { return uint32_t(slots_.size()); }
   uint32_t ways() const { return ways_; }
   uint32_t count() const { return count_; }

   // Inserts (or updates) the key. On success `index` is where the key lives; `rehashIndex`
   // equals it, unless an entry had to be moved to make room: then the entry that was at
   // `index` now lives at `rehashIndex`. XP_ERR_KEY_EXISTS when the key already holds this
   // value (nothing written), XP_ERR_TABLE_FULL when no place can be made (nothing changed).
   XP_STATUS insert(const Key& key, const Value& value, uint32_t& index,
                    uint32_t& rehashIndex) {
      index = rehashIndex = kNoIndex;
      if (slots_.empty()) return XP_ERR_TABLE_FULL;
      if (uint32_t at = find(key); at != kNoIndex) {
         index = rehashIndex = at;
         if (slots_[at].value == value) return XP_ERR_KEY_EXISTS;
         slots_[at].value = value;
         return XP_NO_ERR;
      }
      for (uint32_t w = 0; w < ways_; ++w) {
         const uint32_t at = place(key, w);
         if (!slots_[at].valid) {
            put(at, key, value);
            index = rehashIndex = at;
            return XP_NO_ERR;
         }
      }
      // Every place is taken: move one occupant to a free place of its own.
      for (uint32_t w = 0; w < ways_; ++w) {
         const uint32_t at = place(key, w);
         const uint32_t to = freePlaceOf(slots_[at].key, at);
         if (to == kNoIndex) continue;
         slots_[to] = slots_[at];
         slots_[at] = Slot{key, value, true};
         ++count_;
         index = at;
         rehashIndex = to;
         return XP_NO_ERR;
      }
      return XP_ERR_TABLE_FULL;
   }

   // Whether inserting `key` now would move another entry to make room for it.
   bool insertWouldMove(const Key& key) const {
      if (slots_.empty() || find(key) != kNoIndex) return false;
      for (uint32_t w = 0; w < ways_; ++w) {
         if (!slots_[place(key, w)].valid) return false;
      }
      for (uint32_t w = 0; w < ways_; ++w) {
         const uint32_t at = place(key, w);
         if (freePlaceOf(slots_[at].key, at) != kNoIndex) return true;
      }
      return false;
   }

   // Where the key lives: XP_ERR_KEY_NOT_FOUND when absent.
   XP_STATUS lookup(const Key& key, uint32_t& index) const {
      index = find(key);
      return index == kNoIndex ? XP_ERR_KEY_NOT_FOUND : XP_NO_ERR;
   }

   // Empties the entry: XP_ERR_INVALID_INDEX out of range, XP_ERR_NO_CHANGE when already empty.
   XP_STATUS remove(uint32_t index) {
      if (index >= slots_.size()) return XP_ERR_INVALID_INDEX;
      if (!slots_[index].valid) return XP_ERR_NO_CHANGE;
      slots_[index] = Slot{};
      --count_;
      return XP_NO_ERR;
   }

   // The entry at `index` if it holds one (nullptr when empty or out of range).
   const Slot* at(uint32_t index) const {
      return index < slots_.size() && slots_[index].valid ? &slots_[index] : nullptr;
   }

   // Calls f(index, key, value) for every valid entry in index order.
   template <class F>
   void forEachValid(F&& f) const {
      for (uint32_t i = 0; i < slots_.size(); ++i)
         if (slots_[i].valid) f(i, slots_[i].key, slots_[i].value);
   }

   // The place of `key` in way `way`.
   uint32_t place(const Key& key, uint32_t way) const {
      static constexpr uint64_t kSeed[] = {0x9e3779b97f4a7c15ull, 0xc2b2ae3d27d4eb4full,
                                           0x165667b19e3779f9ull, 0xd6e8feb86659fd93ull};
      const uint64_t seed = kSeed[way % std::size(kSeed)] + way / std::size(kSeed);
      return way * perWay_ + uint32_t(xpHashBytes(&key, sizeof key, seed) % perWay_);
   }

private:
   static bool sameKey(const Key& a, const Key& b) {
      return std::memcmp(&a, &b, sizeof a) == 0;
   }

   uint32_t find(const Key& key) const {
      for (uint32_t w = 0; w < ways_; ++w) {
         const uint32_t at = place(key, w);
         if (slots_[at].valid && sameKey(slots_[at].key, key)) return at;
      }
      return kNoIndex;
   }

   // A free place of `key` other than `from`.
   uint32_t freePlaceOf(const Key& key, uint32_t from) const {
      for (uint32_t w = 0; w < ways_; ++w) {
         const uint32_t at = place(key, w);
         if (at != from && !slots_[at].valid) return at;
      }
      return kNoIndex;
   }

   void put(uint32_t at, const Key& key, const Value& value) {
      slots_[at] = Slot{key, value, true};
      ++count_;
   }

   std::vector<Slot> slots_;
   uint32_t ways_ = 0;
   uint32_t perWay_ = 0;
   uint32_t count_ = 0;
};
