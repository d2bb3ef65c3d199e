#include "platform/Quill.h"

#include <bit>

namespace Quill {

namespace {

constexpr uint64_t kFull = ~uint64_t{0};

uint32_t wordsFor(uint32_t bits) {
   return bits == 0 ? 1 : (bits + 63) / 64;
}

// Bits lo..hi of one word, both included (0 <= lo <= hi < 64).
uint64_t bitsBetween(uint32_t lo, uint32_t hi) {
   return (kFull >> (63 - hi)) & (kFull << lo);
}

} // namespace

Bitmap::Bitmap(uint32_t size) : size_(size) {
   uint32_t bits = size;
   for (;;) {
      const uint32_t words = wordsFor(bits);
      Level level(words, 0);
      if (bits % 64 != 0 || bits == 0) level.back() = kFull << (bits % 64);
      levels_.push_back(std::move(level));
      if (words == 1) break;
      bits = words;
   }
}

uint32_t Bitmap::count() const {
   uint32_t n = 0;
   for (uint64_t w : levels_[0])
      n += static_cast<uint32_t>(std::popcount(w));
   return n - (static_cast<uint32_t>(levels_[0].size()) * 64 - size_);
}

void Bitmap::propagate(size_t level, uint32_t word) {
   for (; level + 1 < levels_.size(); ++level) {
      const bool full = levels_[level][word] == kFull;
      uint64_t& up = levels_[level + 1][word / 64];
      const uint64_t bit = uint64_t{1} << (word % 64);
      if (((up & bit) != 0) == full) return;
      up ^= bit;
      word /= 64;
   }
}

void Bitmap::setBit(uint32_t i) {
   levels_[0][i / 64] |= uint64_t{1} << (i % 64);
   propagate(0, i / 64);
}

void Bitmap::clearBit(uint32_t i) {
   levels_[0][i / 64] &= ~(uint64_t{1} << (i % 64));
   propagate(0, i / 64);
}

void Bitmap::clearBitsInRange(uint32_t first, uint32_t last) {
   if (size_ == 0) return;
   if (last >= size_) last = size_ - 1;
   if (first > last) return;
   // A word that loses a bit is no longer full, so each level above clears the same span of
   // word positions.
   for (auto& level : levels_) {
      for (uint32_t w = first / 64; w <= last / 64; ++w) {
         const uint32_t lo = w == first / 64 ? first % 64 : 0;
         const uint32_t hi = w == last / 64 ? last % 64 : 63;
         level[w] &= ~bitsBetween(lo, hi);
      }
      first /= 64;
      last /= 64;
   }
}

void Bitmap::wordsIs(const std::vector<uint64_t>& words) {
   if (words.size() != levels_[0].size()) return;
   for (size_t l = 0; l < levels_.size(); ++l) {
      Level& level = levels_[l];
      if (l == 0) {
         level = words;
         continue;
      }
      // Keep this level's padding, recompute each real bit from the level below.
      const Level& below = levels_[l - 1];
      for (uint32_t w = 0; w < below.size(); ++w) {
         const uint64_t bit = uint64_t{1} << (w % 64);
         level[w / 64] = below[w] == kFull ? level[w / 64] | bit : level[w / 64] & ~bit;
      }
   }
}

uint32_t Bitmap::findClear(size_t level, uint32_t pos) const {
   const Level& bits = levels_[level];
   uint32_t w = pos / 64;
   if (w >= bits.size()) return npos;
   const uint64_t free = ~bits[w] & (kFull << (pos % 64));
   if (free) return w * 64 + static_cast<uint32_t>(std::countr_zero(free));
   if (level + 1 == levels_.size()) return npos; // the top level is one word
   w = findClear(level + 1, w + 1);
   if (w == npos) return npos;
   return w * 64 + static_cast<uint32_t>(std::countr_zero(~bits[w]));
}

uint32_t Bitmap::findClearBitInRange(uint32_t first, uint32_t end, uint32_t) const {
   if (first >= end || first >= size_) return npos;
   const uint32_t i = findClear(0, first);
   return i < end ? i : npos;
}

Norv::Ptr<Bitmap> bitmapFactory(uint32_t size) {
   return new Bitmap(size);
}

} // namespace Quill
