#pragma once

#include <cstdint>
#include <vector>

#include "norv/Entity.h"
#include "norv/Export.h"

namespace Quill {

// A fixed-size set of indexes, a set bit meaning "in use". Allocators take the lowest free
// index, so the map fills from the bottom; a plain scan would then walk the whole used prefix
// on every allocation. Above the bits sit summary levels, one bit per word of the level below,
// set while that word is full, up to a level of one word: a search skips full words 64 at a
// time and costs the same from a thousand bits to a million.
class NORV_EXPORT Bitmap : public Norv::Entity {
public:
   NORV_ENTITY("Quill::Bitmap")
   static constexpr uint32_t npos = ~uint32_t{0};

   // Every index free.
   explicit Bitmap(uint32_t size);

   uint32_t size() const { return size_; }
   bool isSet(uint32_t i) const { return (levels_[0][i / 64] >> (i % 64)) & 1; }
   // Number of indexes in use.
   uint32_t count() const;

   void setBit(uint32_t i);
   void clearBit(uint32_t i);
   // Frees first..last, both included and clipped to the size.
   void clearBitsInRange(uint32_t first, uint32_t last);
   // The bits as words of 64, index 0 in bit 0 of the first word; for saving and restoring a
   // whole map.
   const std::vector<uint64_t>& words() const { return levels_[0]; }
   void wordsIs(const std::vector<uint64_t>& words);
   // The lowest free index i with first <= i < end, or npos. Callers may state a preferred
   // index; the lowest one is always returned, which keeps the map dense.
   uint32_t findClearBitInRange(uint32_t first, uint32_t end, uint32_t preference = 0) const;

private:
   using Level = std::vector<uint64_t>;

   // Lowest position >= pos at this level whose bit is clear, or npos.
   uint32_t findClear(size_t level, uint32_t pos) const;
   // Marks word `word` of `level` full or not in the level above, as far up as it changes.
   void propagate(size_t level, uint32_t word);

   uint32_t size_;
   // levels_[0] holds the bits; bits past the end of each level are set, so they read as used
   // and never keep a word from counting as full.
   std::vector<Level> levels_;
};

NORV_EXPORT Norv::Ptr<Bitmap> bitmapFactory(uint32_t size);

} // namespace Quill
